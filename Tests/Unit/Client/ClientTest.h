// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <unistd.h>

#include <hearthd/HearthClient.h>

#include "PrivateBus.h"
#include "TestServer.h"

inline constexpr const char* ROUTER = hearthd::Client::ROUTER;
inline constexpr const char* ROUTER_SIGNAL = "marrow_ser_server_MRSignal__";

inline std::string ClientName() {
    return "marrow.ser.client.PID_" + std::to_string(getpid());
}

/// {"text": text}
inline Json::Value Text(const std::string& text) {
    Json::Value value;
    value["text"] = text;
    return value;
}

/// Why this fails; nothing where it doesn't.
template <typename Action>
std::optional<hearthd::Reason> ReasonOf(Action action) {
    try {
        action();
        return std::nullopt;
    } catch (const hearthd::Failure& failure) {
        return failure.Why();
    }
}

/// A bus and an endpoint that stands for the daemon's, and answers each call with what it was
/// given.
class ClientTest : public testing::Test {
protected:
    ClientTest() { router.CreateDBusServer(); }

    static void Notify(const std::string& subject, const std::string& text) {
        Quill::TCMessage message;
        message.subject = subject;
        message.payload = Text(text);
        ASSERT_EQ(Quill::TCServer::SendSignal(ROUTER, (ROUTER_SIGNAL + subject).c_str(), &message),
                  0);
    }

    PrivateBus bus;
    TestServer router{ROUTER};
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include "Daemon.h"
#include "PrivateBus.h"
#include "RawClient.h"

inline constexpr const char* ROUTER = "marrow.ser.server.MessageRouter";
inline constexpr const char* ROUTER_SIGNAL = "marrow_ser_server_MRSignal__";
inline constexpr const char* DELIVERY_FAILED = R"({"return_error":"Delivery failed"})";
inline constexpr const char* DEBUG_SHELL = "quill.debugshell_C";
inline constexpr const char* AUTOSTART_DONE = "> ~Worker[Init]";

/// What the debug shell on the bus wants for a function.
inline std::string ShellRequest(const std::string& function, const std::string& service = {}) {
    return R"({"org.norvane.services.debugshell.command.tag":"service-command","function":")" +
           function + R"(","service":")" + service + "\"}";
}

/// A bus and a daemon; the daemon's log is shown when a test fails.
class DaemonTest : public testing::Test {
protected:
    explicit DaemonTest(const PrivateBus::Settings& settings = {}) : bus(settings) {}
    ~DaemonTest() override {
        if (HasFailure()) {
            std::cerr << "---- the daemon's output\n"
                      << daemon.Output() << "---- the daemon's log\n"
                      << daemon.Log();
        }
    }

    // Starts the daemon and waits until everything that starts by itself has been tried.
    void StartAndWait() {
        daemon.Start();
        ASSERT_TRUE(daemon.WaitForLog(AUTOSTART_DONE));
    }

    PrivateBus bus;
    Daemon daemon;
};

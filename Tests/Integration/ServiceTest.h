// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>
#include <sstream>
#include <string>

#include "DaemonTest.h"

inline constexpr const char* EXAMPLES = "/usr/apps/org.norvane.hearthd/lib/services/";
inline constexpr const char* PAYLOAD = R"({"a":1})";
inline constexpr const char* STARTED = "State successfully changed to loaded\n"
                                       "State successfully changed to started\n";
inline constexpr const char* UNLOADED = "State successfully changed to loaded\n"
                                        "State successfully changed to not-load\n";

inline constexpr const char* STARTED_FROM_LOADED =
    "Failed to change status. Current service status is loaded\n"
    "State successfully changed to started\n";

/// A daemon, a client of its services, and one who listens to their notifications.
class ServiceTest : public DaemonTest {
protected:
    ServiceTest() { listener.Match("type='signal',interface='quill.Endpoint1'"); }

    std::string Call(const std::string& service, const std::string& payload) {
        return client.Call(ROUTER, service, payload).payload;
    }

    // The payload of the next notification with this subject.
    Json::Value NextOf(const std::string& subject) {
        Json::Value payload;
        while (const auto signal = listener.Next()) {
            if (signal->arguments.at(1) == subject) {
                std::istringstream(signal->arguments.at(2)) >> payload;
                return payload;
            }
        }
        ADD_FAILURE() << "no notification";
        return payload;
    }

    // A function of the debug shell.
    std::string Shell(const std::string& function, const std::string& service) {
        Json::Value answer;
        std::istringstream(client.Call(DEBUG_SHELL, "", ShellRequest(function, service)).payload) >>
            answer;
        return answer["return"].asString();
    }

    RawClient client;
    RawClient listener;
};

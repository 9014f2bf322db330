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
/// What is sent to the shell before this may find it without its command.
inline constexpr const char* SHELL_LISTENS = "> Start reading from stream";

/// What the debug shell on the bus wants for a function.
inline std::string ShellRequest(const std::string& function, const std::string& service = {}) {
    return R"({"org.norvane.services.debugshell.command.tag":"service-command","function":")" +
           function + R"(","service":")" + service + "\"}";
}

/// Waits until everything that starts by itself has been tried, and the debug shell serves. `count`
/// is how often the daemon has been started.
inline bool WaitForStart(const Daemon& daemon, int count = 1) {
    return daemon.WaitForLog(AUTOSTART_DONE, count) && daemon.WaitForLog(SHELL_LISTENS, count);
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

    void StartAndWait() {
        daemon.Start();
        ASSERT_TRUE(WaitForStart(daemon));
    }

    PrivateBus bus;
    Daemon daemon;
};

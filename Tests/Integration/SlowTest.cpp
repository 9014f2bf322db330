// SPDX-License-Identifier: Apache-2.0
#include "DaemonTest.h"

#include <chrono>

#include "NotifySocket.h"

namespace {

class Slow : public DaemonTest {};

TEST_F(Slow, NotifiesTheServiceManagersWatchdogEveryTenSecondsForAsLongAsItLives) {
    const NotifySocket manager;
    daemon.SetEnvironment("NOTIFY_SOCKET", manager.Path());
    daemon.RemoveManifestFolder(); // the main loop is reached all the same
    daemon.Start();
    EXPECT_EQ(manager.Receive(), "READY=1");
    for (int i = 0; i < 2; ++i) {
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(manager.Receive(std::chrono::seconds(30)), "WATCHDOG=1");
        const auto took = std::chrono::steady_clock::now() - before;
        EXPECT_GT(took, std::chrono::seconds(9));
        EXPECT_LT(took, std::chrono::seconds(15));
    }
}

TEST_F(Slow, GoesOnWithTheNextServiceWhenOneHangsInItsStart) {
    daemon.SetEnvironment("DLOG_LEVEL", "debug");
    daemon.AddService("hanging", {.library = "libhanging_start.so", .priority = 9});
    daemon.AddService("probe", {.library = "libprobe.so"});
    daemon.Start();
    ASSERT_TRUE(daemon.WaitForLog("> started probe"));
    const std::string log = daemon.Log();
    const std::size_t timeout = log.find("> Timeout 10 seconds occured!");
    EXPECT_NE(timeout, std::string::npos);
    EXPECT_LT(timeout, log.find("> service['hanging'] failed to start"));
    EXPECT_LT(log.find("> service['hanging'] failed to start"),
              log.find("> failed to start hanging service"));
    EXPECT_LT(log.find("> failed to start hanging service"), log.find("> started probe"));
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "hanging", "").payload, DELIVERY_FAILED);
    EXPECT_TRUE(daemon.WaitForLog("> service['hanging'] state is LOADED"));
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_EQ(CountOf(daemon.Output(), "hanging_START"), 0);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>

#include "HangBeacon.h"
#include "NotifySocket.h"
#include "ProcStat.h"

namespace {

TEST(HangBeacon, TellsTheServiceManagerThatTheProcessIsReadyAndThatItLives) {
    const NotifySocket manager;
    setenv("NOTIFY_SOCKET", manager.Path().c_str(), 1);
    EXPECT_EQ(hang_beacon_register_watchdog_service(75), 0);
    EXPECT_EQ(manager.Receive(), "READY=1");
    EXPECT_EQ(hang_beacon_watchdog_notify(), 0);
    EXPECT_EQ(manager.Receive(), "WATCHDOG=1");
}

TEST(HangBeacon, IsContentWithoutAServiceManager) {
    unsetenv("NOTIFY_SOCKET");
    EXPECT_EQ(hang_beacon_register_watchdog_service(75), 0);
    EXPECT_EQ(hang_beacon_watchdog_notify(), 0);
}

TEST(HangBeacon, SaysSoWhenTheServiceManagerCannotBeReached) {
    setenv("NOTIFY_SOCKET", "/nowhere/at/all", 1);
    EXPECT_LT(hang_beacon_watchdog_notify(), 0);
    unsetenv("NOTIFY_SOCKET");
}

TEST(ProcStat, MakesTheProcessOneThatGoesLastOrSaysWhyNot) {
    const int result = proc_stat_set_vip_process();
    int score = 0;
    std::ifstream("/proc/self/oom_score_adj") >> score;
    if (result == 0) {
        EXPECT_EQ(score, -900);
    } else {
        EXPECT_TRUE(result == -EACCES || result == -EPERM) << result;
        EXPECT_NE(score, -900);
    }
}

} // namespace

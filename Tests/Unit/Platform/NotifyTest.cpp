// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

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

// Privileges are a thread's own.
void GiveUpResourceLimits() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> privileges{};
    ASSERT_EQ(syscall(SYS_capget, &header, privileges.data()), 0);
    privileges[0].effective &= ~(1U << CAP_SYS_RESOURCE);
    ASSERT_EQ(syscall(SYS_capset, &header, privileges.data()), 0);
}

TEST(ProcStat, LeavesAProcessWithoutThePrivilegeAsItIs) {
    int before = 0;
    std::ifstream("/proc/self/oom_score_adj") >> before;
    int result = 0;
    std::thread([&] {
        GiveUpResourceLimits();
        result = proc_stat_set_vip_process();
    }).join();
    int after = -1;
    std::ifstream("/proc/self/oom_score_adj") >> after;
    if (result == 0 && after == -900) {
        GTEST_SKIP() << "a process above this one has lowered the limit";
    }
    EXPECT_EQ(result, -EACCES);
    EXPECT_EQ(after, before);
}

} // namespace

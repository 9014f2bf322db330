// SPDX-License-Identifier: Apache-2.0
#include <ctime>
#include <gtest/gtest.h>
#include <hearthd/HostedService.h>

namespace {

using hearthd::testing::HostedService;

TEST(Clock, TellsTheTime) {
    HostedService clock("clock", CLOCK_LIBRARY);
    ASSERT_TRUE(clock.Start());
    const std::time_t before = std::time(nullptr);
    const Json::Value seconds = clock.Call({}).payload["seconds"];
    EXPECT_GE(seconds.asInt64(), before);
    EXPECT_LE(seconds.asInt64(), std::time(nullptr));
}

TEST(Clock, NotifiesEachSecondUntilItIsStopped) {
    HostedService clock("clock", CLOCK_LIBRARY);
    ASSERT_TRUE(clock.Start());
    const auto first = clock.WaitForNotification("clock");
    const auto second = clock.WaitForNotification("clock");
    ASSERT_TRUE(first && second);
    EXPECT_LT(first->payload["seconds"].asInt64(), second->payload["seconds"].asInt64());
    ASSERT_TRUE(clock.Stop());
    clock.TakeNotifications();
    EXPECT_FALSE(clock.WaitForNotification("clock", std::chrono::milliseconds(1500)));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <hearthd/HostedService.h>
#include <hearthd/TestDevice.h>

namespace {

using hearthd::testing::HostedService;
using hearthd::testing::SendProgram;

TCProgramData Program(const char* event) {
    TCProgramData program;
    program.transport_stream_id = 7;
    program.service_id = 3;
    program.service_name = "Hearth One";
    program.event.known = true;
    program.event.start = 1714593600;
    program.event.name = event;
    return program;
}

class Epg : public testing::Test {
protected:
    Epg() { EXPECT_TRUE(epg.Start()); }

    Json::Value TheService(const char* what) {
        Json::Value request;
        request["get"] = what;
        return epg.Call(request).payload["services"][0];
    }

    HostedService epg{"epg", EPG_LIBRARY};
};

TEST_F(Epg, NotifiesOfAnotherPresentEvent) {
    SendProgram(PROGRAM_APPEARED, Program("The news"));
    EXPECT_EQ(TheService("now")["present"]["name"], "The news");
    SendProgram(PROGRAM_PRESENT_CHANGED, Program("The weather"));
    const auto notification = epg.WaitForNotification("epg");
    ASSERT_TRUE(notification);
    EXPECT_EQ(notification->payload["service"], "Hearth One");
    EXPECT_EQ(notification->payload["present"]["name"], "The weather");
    EXPECT_EQ(notification->payload["present"]["start"], "2024-05-01T20:00:00Z");
    EXPECT_TRUE(epg.TakeNotifications().empty()) << "nothing for the one that was known";
}

TEST_F(Epg, ListsTheFollowingEventToo) {
    SendProgram(PROGRAM_APPEARED, Program("The news"));
    SendProgram(PROGRAM_FOLLOWING_CHANGED, Program("The weather"));
    EXPECT_EQ(TheService("list")["following"]["name"], "The weather");
    EXPECT_FALSE(TheService("now").isMember("following"));
}

TEST_F(Epg, BeginsAnewWithEachStart) {
    SendProgram(PROGRAM_APPEARED, Program("The news"));
    ASSERT_FALSE(TheService("now").isNull());
    ASSERT_TRUE(epg.Stop());
    ASSERT_TRUE(epg.Start());
    EXPECT_TRUE(TheService("now").isNull());
}

} // namespace

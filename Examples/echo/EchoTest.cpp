// SPDX-License-Identifier: Apache-2.0

// The example of Docs/services.md, "Testing a service".

#include <gtest/gtest.h>
#include <hearthd/HostedService.h>

TEST(Echo, AnswersWithTheTextAndItsLength) {
    hearthd::testing::HostedService echo("echo", ECHO_LIBRARY);
    ASSERT_TRUE(echo.Start());
    Json::Value request;
    request["text"] = "hello";
    const hearthd::testing::Reply reply = echo.Call(request);
    EXPECT_EQ(reply.payload["text"], "hello");
    EXPECT_EQ(reply.payload["length"], 5U);
}

TEST(Echo, RefusesWhatIsNoText) {
    hearthd::testing::HostedService echo("echo", ECHO_LIBRARY);
    ASSERT_TRUE(echo.Start());
    for (const Json::Value& wrong :
         {Json::Value(), Json::Value(7), Json::Value(Json::arrayValue)}) {
        Json::Value request;
        request["text"] = wrong;
        EXPECT_EQ(echo.Call(request).payload["error"], "\"text\" is missing or no string");
    }
    EXPECT_TRUE(echo.Call({}).payload.isMember("error"));
}

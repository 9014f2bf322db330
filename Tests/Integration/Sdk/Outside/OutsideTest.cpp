// SPDX-License-Identifier: Apache-2.0

// The service's own test, with the kit of the installed SDK.

#include <gtest/gtest.h>
#include <hearthd/HostedService.h>

TEST(Outside, SeesTheModulesOfItsHost) {
    hearthd::testing::HostedService outside("outside", OUTSIDE_LIBRARY);
    ASSERT_TRUE(outside.Start());
    const Json::Value reply = outside.Call({}).payload;
    EXPECT_EQ(reply["manager"], true);
    EXPECT_EQ(reply["casts"], true) << "one type on both sides";
    EXPECT_EQ(reply["services"][0], "outside");
}

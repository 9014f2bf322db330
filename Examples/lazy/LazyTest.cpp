// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <hearthd/HostedService.h>

TEST(Lazy, AnswersNothingAlsoWhenItRuns) {
    hearthd::testing::HostedService lazy("lazy", LAZY_LIBRARY);
    EXPECT_TRUE(lazy.Call({}).IsDeliveryFailed());
    ASSERT_TRUE(lazy.Start());
    EXPECT_TRUE(lazy.Call({}).IsDeliveryFailed());
    EXPECT_TRUE(lazy.Stop());
}

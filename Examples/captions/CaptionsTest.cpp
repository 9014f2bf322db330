// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <hearthd/HostedService.h>
#include <hearthd/TestDevice.h>

#include "CcUserData.h"

namespace {

using hearthd::testing::HostedService;
using hearthd::testing::SendCaption;

TSCaption Caption(const char* text) {
    TSCaption caption;
    caption.word_a = CAPTION_CC_DATA;
    caption.bytes =
        streammaker::CcTriplets(streammaker::CaptionPairs(text, streammaker::CaptionStyle::POP_ON));
    return caption;
}

TEST(Captions, AreNotifiedAsTextAndKept) {
    HostedService captions("captions", CAPTIONS_LIBRARY);
    ASSERT_TRUE(captions.Start());
    EXPECT_TRUE(SendCaption(Caption("The fire\nis lit.")));
    const auto notification = captions.WaitForNotification("captions");
    ASSERT_TRUE(notification);
    EXPECT_EQ(notification->payload["text"][0], "The fire");
    EXPECT_EQ(notification->payload["text"][1], "is lit.");
    EXPECT_EQ(captions.Call({}).payload, notification->payload);
}

TEST(Captions, AreNotTakenWhileItIsStopped) {
    HostedService first("captions", CAPTIONS_LIBRARY);
    ASSERT_TRUE(first.Start());
    ASSERT_TRUE(first.Stop());
    EXPECT_FALSE(SendCaption(Caption("Unheard."))) << "nobody listens";
    ASSERT_TRUE(first.Start());
    EXPECT_TRUE(first.Call({}).payload["text"].empty());
}

} // namespace

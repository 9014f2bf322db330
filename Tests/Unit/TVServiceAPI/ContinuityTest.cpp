// SPDX-License-Identifier: Apache-2.0
#include "Continuity.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using tvservice::Continuity;
using Step = tvservice::Continuity::Step;

class ContinuityTest : public testing::Test {
protected:
    Step Follow(std::uint8_t number, bool discontinuity = false, std::uint8_t content = 1) {
        const std::vector<std::uint8_t> payload(184, content);
        tvservice::TsPacket packet;
        packet.continuity = number;
        packet.discontinuity = discontinuity;
        packet.payload = payload;
        return continuity.Follow(packet);
    }
    Step FollowWithoutPayload(std::uint8_t number, bool discontinuity) {
        tvservice::TsPacket packet;
        packet.continuity = number;
        packet.discontinuity = discontinuity;
        return continuity.Follow(packet);
    }

    Continuity continuity;
};

TEST_F(ContinuityTest, BeginsWithAnyNumberAndGoesOnOverTheWrap) {
    EXPECT_EQ(Follow(14), Step::Next);
    EXPECT_EQ(Follow(15), Step::Next);
    EXPECT_EQ(Follow(0), Step::Next);
    EXPECT_EQ(Follow(1), Step::Next);
}

TEST_F(ContinuityTest, MissesPackets) {
    Follow(3);
    EXPECT_EQ(Follow(5), Step::Gap);
    EXPECT_EQ(Follow(6), Step::Next) << "from there on it is right again";
    EXPECT_EQ(Follow(5), Step::Gap) << "one back is far ahead";
}

TEST_F(ContinuityTest, KnowsThePacketThatComesASecondTime) {
    Follow(3);
    EXPECT_EQ(Follow(3), Step::Repeated);
    EXPECT_EQ(Follow(4), Step::Next);
    EXPECT_EQ(Follow(4), Step::Repeated) << "each may";
}

TEST_F(ContinuityTest, TakesAThirdOneForSomethingElse) {
    Follow(3);
    EXPECT_EQ(Follow(3), Step::Repeated);
    EXPECT_EQ(Follow(3), Step::Gap) << "a packet is sent twice at most";
}

TEST_F(ContinuityTest, TakesOtherBytesWithTheSameNumberForFifteenMissingPackets) {
    Follow(3, false, 1);
    EXPECT_EQ(Follow(3, false, 2), Step::Gap);
    EXPECT_EQ(Follow(3, false, 2), Step::Repeated) << "and that one may come twice";
    EXPECT_EQ(Follow(4, false, 2), Step::Next);
}

TEST_F(ContinuityTest, TakesAnyNumberWhereTheStreamSaysSo) {
    Follow(3);
    EXPECT_EQ(Follow(9, true), Step::Jump);
    EXPECT_EQ(Follow(9, true), Step::Jump) << "the same number isn't the same packet then";
    EXPECT_EQ(Follow(10), Step::Next);
    EXPECT_EQ(Follow(11, true), Step::Next) << "another clock, and nothing is missing";
    EXPECT_EQ(Follow(13), Step::Gap) << "it holds once";
}

TEST_F(ContinuityTest, HearsOfAJumpFromAPacketWithoutPayload) {
    Follow(3);
    EXPECT_EQ(FollowWithoutPayload(3, false), Step::None);
    EXPECT_EQ(Follow(4), Step::Next);
    EXPECT_EQ(FollowWithoutPayload(8, true), Step::None);
    EXPECT_EQ(Follow(9), Step::Jump);
}

TEST_F(ContinuityTest, BeginsAnewAfterReset) {
    Follow(3);
    Follow(3);
    continuity.Reset();
    EXPECT_EQ(Follow(3), Step::Next);
    EXPECT_EQ(Follow(3), Step::Repeated);
}

} // namespace

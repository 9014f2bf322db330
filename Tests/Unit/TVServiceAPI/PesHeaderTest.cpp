// SPDX-License-Identifier: Apache-2.0
#include "PesHeader.h"

#include <gtest/gtest.h>

#include "PesBuilder.h"

namespace {

using streammaker::Bytes;
using streammaker::PesBuilder;
using tvservice::Distance;
using tvservice::PesHeader;

constexpr std::uint64_t WRAP = 1ULL << 33;

TEST(PesHeader, HasEveryBitOfItsTimes) {
    for (unsigned bit = 0; bit < 33; ++bit) {
        PesBuilder builder;
        builder.pts = 1ULL << bit;
        builder.dts = (WRAP - 1) ^ (1ULL << bit);
        builder.payload = {7};
        const Bytes bytes = builder.Build();
        const std::optional<PesHeader> header = PesHeader::Parse(bytes);
        ASSERT_TRUE(header);
        EXPECT_EQ(header->pts, builder.pts);
        EXPECT_EQ(header->dts, builder.dts);
        EXPECT_EQ(header->dataOffset, 19U);
        EXPECT_EQ(header->streamId, streammaker::STREAM_ID_PRIVATE_1);
    }
}

TEST(PesHeader, MayHaveNoTime) {
    PesBuilder builder;
    builder.payload = {7};
    Bytes bytes = builder.Build();
    EXPECT_FALSE(PesHeader::Parse(bytes)->pts);
    EXPECT_EQ(PesHeader::Parse(bytes)->dataOffset, 9U);
    builder.pts = 5;
    bytes = builder.Build();
    EXPECT_EQ(PesHeader::Parse(bytes)->pts, 5U);
    EXPECT_FALSE(PesHeader::Parse(bytes)->dts);
    bytes[7] = 0x40; // a DTS alone is forbidden
    EXPECT_FALSE(PesHeader::Parse(bytes)->pts);
    EXPECT_FALSE(PesHeader::Parse(bytes)->dts);
}

TEST(PesHeader, HasNoTimeThatDoesntFitIntoItsFields) {
    PesBuilder builder;
    builder.pts = 5;
    builder.dts = 6;
    builder.payload = Bytes(20, 0);
    Bytes bytes = builder.Build();
    bytes[8] = 9;
    EXPECT_EQ(PesHeader::Parse(bytes)->pts, 5U);
    EXPECT_FALSE(PesHeader::Parse(bytes)->dts);
    bytes[8] = 4;
    EXPECT_FALSE(PesHeader::Parse(bytes)->pts);
    EXPECT_EQ(PesHeader::Parse(bytes)->dataOffset, 13U);
}

TEST(PesHeader, IsNoneUntilItIsWhole) {
    PesBuilder builder;
    builder.pts = 5;
    Bytes bytes = builder.Build();
    ASSERT_EQ(bytes.size(), 14U);
    EXPECT_TRUE(PesHeader::Parse(bytes));
    while (!bytes.empty()) {
        bytes.pop_back();
        EXPECT_FALSE(PesHeader::Parse(bytes)) << bytes.size();
    }
}

TEST(PesHeader, NeedsAStartCode) {
    PesBuilder builder;
    for (std::size_t at = 0; at < 3; ++at) {
        Bytes bytes = builder.Build();
        bytes[at] ^= 2;
        EXPECT_FALSE(PesHeader::Parse(bytes)) << at;
    }
}

TEST(PesHeader, EndsBehindTheLengthInStreamsWithoutMore) {
    for (const std::uint8_t id : {0xBC, 0xBE, 0xBF, 0xF0, 0xF1, 0xF2, 0xF8, 0xFF}) {
        const Bytes bytes{0, 0, 1, id, 0, 0};
        ASSERT_TRUE(PesHeader::Parse(bytes)) << int{id};
        EXPECT_EQ(PesHeader::Parse(bytes)->dataOffset, 6U) << int{id};
    }
    for (const std::uint8_t id : {0xBD, 0xC0, 0xE0, 0xEF, 0xFD}) {
        EXPECT_FALSE(PesHeader::Parse(Bytes{0, 0, 1, id, 0, 0})) << int{id};
    }
}

TEST(PesHeader, SaysItsLengthOrLeavesItOpen) {
    EXPECT_EQ(PesHeader::LengthOf(Bytes{0, 0, 1, 0xE0, 0x12, 0x34}), 0x123AU);
    EXPECT_EQ(PesHeader::LengthOf(Bytes{0, 0, 1, 0xE0, 0xFF, 0xFF}), 65541U);
    EXPECT_FALSE(PesHeader::LengthOf(Bytes{0, 0, 1, 0xE0, 0, 0}));
}

TEST(TimeStampDistance, CountsOverTheWrapInBothDirections) {
    EXPECT_EQ(Distance(10, 15), 5);
    EXPECT_EQ(Distance(15, 10), -5);
    EXPECT_EQ(Distance(WRAP - 2, 3), 5);
    EXPECT_EQ(Distance(3, WRAP - 2), -5);
    EXPECT_EQ(Distance(0, WRAP / 2 - 1), static_cast<std::int64_t>(WRAP / 2 - 1));
    EXPECT_EQ(Distance(0, WRAP / 2 + 1), -static_cast<std::int64_t>(WRAP / 2 - 1));
}

} // namespace

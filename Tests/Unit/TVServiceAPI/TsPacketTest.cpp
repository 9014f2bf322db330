// SPDX-License-Identifier: Apache-2.0
#include "TsPacket.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

#include "Packets.h"

namespace {

using tvservice::PACKET_BYTES;
using tvservice::TsPacket;
using Raw = std::array<std::uint8_t, PACKET_BYTES>;

Raw Packet(std::uint8_t control) {
    Raw bytes{};
    bytes[0] = tvservice::SYNC_BYTE;
    bytes[1] = 0x41;
    bytes[2] = 0x23;
    bytes[3] = control;
    return bytes;
}

std::optional<TsPacket> Parse(const Raw& bytes) {
    return TsPacket::Parse(std::span<const std::uint8_t, PACKET_BYTES>(bytes));
}

TEST(TsPacket, HasItsHeadersFields) {
    Raw bytes = Packet(0x1A);
    bytes[1] = 0x5F;
    bytes[2] = 0xFE;
    const std::optional<TsPacket> packet = Parse(bytes);
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->pid, 0x1FFE);
    EXPECT_TRUE(packet->unitStart);
    EXPECT_EQ(packet->continuity, 10);
    EXPECT_FALSE(packet->discontinuity);
    EXPECT_FALSE(packet->pcr);
    EXPECT_EQ(packet->payload.size(), 184U);
    EXPECT_EQ(packet->payload.data(), &bytes[4]);
    bytes[1] = 0x1F;
    EXPECT_FALSE(Parse(bytes)->unitStart);
}

TEST(TsPacket, IsNoneWhereItIsMarkedAsWrong) {
    Raw bytes = Packet(0x10);
    bytes[1] |= 0x80;
    EXPECT_FALSE(Parse(bytes));
}

TEST(TsPacket, HasNoPayloadWhereItIsScrambledOrSaysSo) {
    for (const std::uint8_t control : {0x50, 0x90, 0xD0, 0x00}) {
        const std::optional<TsPacket> packet = Parse(Packet(control));
        ASSERT_TRUE(packet) << int{control};
        EXPECT_TRUE(packet->payload.empty()) << int{control};
    }
}

TEST(TsPacket, HasItsPayloadBehindTheAdaptationField) {
    Raw bytes = Packet(0x30);
    bytes[4] = 0; // a field of its length alone
    EXPECT_EQ(Parse(bytes)->payload.size(), 183U);
    bytes[4] = 182; // the largest that leaves any
    bytes[187] = 0x99;
    ASSERT_EQ(Parse(bytes)->payload.size(), 1U);
    EXPECT_EQ(Parse(bytes)->payload[0], 0x99);
}

TEST(TsPacket, IsNoneWhereItsAdaptationFieldLeavesNoRoom) {
    Raw bytes = Packet(0x30);
    bytes[4] = 183;
    EXPECT_FALSE(Parse(bytes)) << "it has payload";
    bytes[3] = 0x20;
    EXPECT_TRUE(Parse(bytes)) << "it has none";
    bytes[4] = 184;
    EXPECT_FALSE(Parse(bytes));
    bytes[4] = 255;
    EXPECT_FALSE(Parse(bytes));
}

TEST(TsPacket, HasTheClockReferenceInFull) {
    streammaker::AdaptationField field;
    field.pcr = 0x1FFFFFFFEULL * 300 + 299;
    EXPECT_EQ(Parse(streammaker::AdaptationPacket(5, field))->pcr, field.pcr);
    field.pcr = 0x100000001ULL * 300 + 256;
    EXPECT_EQ(Parse(streammaker::AdaptationPacket(5, field))->pcr, field.pcr);
}

TEST(TsPacket, HasNoClockReferenceThatDoesntFitItsField) {
    Raw bytes = Packet(0x30);
    bytes[5] = 0x10;
    bytes[4] = 6;
    EXPECT_FALSE(Parse(bytes)->pcr);
    bytes[4] = 7;
    EXPECT_EQ(Parse(bytes)->pcr, 0U);
}

TEST(TsPacket, TellsADiscontinuity) {
    Raw bytes = Packet(0x30);
    bytes[5] = 0x80;
    bytes[4] = 1;
    EXPECT_TRUE(Parse(bytes)->discontinuity);
    bytes[4] = 0; // the flags aren't there
    EXPECT_FALSE(Parse(bytes)->discontinuity);
}

} // namespace

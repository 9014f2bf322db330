// SPDX-License-Identifier: Apache-2.0

// Sections and PES packets in packets, and their counting.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <stdexcept>

#include "PacketReader.h"
#include "SectionBuilder.h"
#include "TsWriter.h"

using namespace streammaker;

namespace {

constexpr std::uint16_t PID = 0x123;

Bytes Counting(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

// A private section in the short form, of this many bytes in all.
Bytes SectionOf(std::size_t size) {
    SectionBuilder section;
    section.tableId = 0x80;
    section.syntaxIndicator = false;
    section.payload = Counting(size - 3);
    return section.Build();
}

std::vector<Bytes> BytesOf(const std::vector<PacketReader::Unit>& units) {
    std::vector<Bytes> bytes;
    bytes.reserve(units.size());
    for (const PacketReader::Unit& unit : units) {
        bytes.push_back(unit.bytes);
    }
    return bytes;
}

} // namespace

TEST(SectionPackets, HoldASectionOfAnySize) {
    for (std::size_t size : {3, 4, 182, 183, 184, 185, 366, 367, 368, 1024, 4096}) {
        TsWriter writer;
        writer.WriteSection(PID, SectionOf(size));
        const PacketReader reader(writer.Written());
        EXPECT_THAT(BytesOf(reader.SectionsOf(PID)), testing::ElementsAre(SectionOf(size)));
        EXPECT_EQ(reader.Packets().size(), (size + 1 + 183) / 184) << size;
        EXPECT_TRUE(reader.Packets().front().start);
        EXPECT_EQ(reader.Packets().front().payload[0], 0);
    }
}

TEST(SectionPackets, BeginASectionInThePacketInWhichTheOneAheadEnds) {
    for (std::size_t size = 100; size < 400; ++size) {
        const std::vector<Bytes> sections{SectionOf(size), SectionOf(10), SectionOf(300),
                                          SectionOf(3)};
        TsWriter writer;
        writer.WriteSections(PID, sections);
        const PacketReader reader(writer.Written());
        EXPECT_EQ(BytesOf(reader.SectionsOf(PID)), sections) << size;
        EXPECT_LE(reader.Packets().size(), (size + 313) / 183 + 1) << size;
    }
}

TEST(PesPackets, HoldAPesPacketOfAnySize) {
    for (std::size_t size = 1; size < 600; ++size) {
        AdaptationField field;
        field.randomAccess = size % 2 == 0;
        if (size % 3 == 0) {
            field.pcr = size;
        }
        TsWriter writer;
        writer.WritePes(PID, Counting(size), field);
        const PacketReader reader(writer.Written());
        EXPECT_THAT(BytesOf(reader.PesOf(PID)), testing::ElementsAre(Counting(size)));
        EXPECT_EQ(reader.Packets().front().randomAccess, field.randomAccess);
        EXPECT_EQ(reader.Packets().front().pcr, field.pcr);
        EXPECT_FALSE(reader.Packets().size() > 1 && reader.Packets()[1].pcr) << size;
    }
}

TEST(PcrPacket, HoldsAClockReferenceOf33BitsAndTheRest) {
    constexpr std::uint64_t LAST = (std::uint64_t{1} << 33) * 300 - 1;
    for (std::uint64_t pcr : std::vector<std::uint64_t>{0, 299, 300, 0x123456789A, LAST}) {
        TsWriter writer;
        writer.WritePcr(PID, pcr);
        const PacketReader reader(writer.Written());
        EXPECT_EQ(reader.Packets().front().pcr, pcr);
        EXPECT_FALSE(reader.Packets().front().hasPayload);
    }
}

TEST(PcrPacket, IsLaidOutByteByByte) {
    // base 1, extension 2
    const TsPacket packet = PcrPacket(0x1FFE, 302);
    EXPECT_THAT(Bytes(packet.begin(), packet.begin() + 13),
                testing::ElementsAre(0x47, 0x1F, 0xFE, 0x20, 183, 0x10, 0, 0, 0, 0, 0xFE, 2, 0xFF));
}

TEST(SectionPackets, RefuseAPidOfMoreThan13Bits) {
    EXPECT_THROW(SectionPackets(0x2000, {SectionOf(10)}), std::invalid_argument);
}

TEST(TsWriter, CountsThePayloadsOfEachPid) {
    TsWriter writer;
    writer.WritePcr(PID, 0);
    writer.WritePes(PID, Counting(184 * 20));
    writer.WritePcr(PID, 1);
    writer.WriteSection(PID + 1, SectionOf(10));
    writer.WritePes(PID, Counting(10));
    const PacketReader reader(writer.Written());
    EXPECT_EQ(reader.ContinuityBreak(), "");
    EXPECT_EQ(reader.Packets()[1].counter, 0U);
    EXPECT_EQ(reader.Packets()[20].counter, 3U);
    EXPECT_EQ(reader.Packets()[21].counter, 3U) << "without a payload";
    EXPECT_EQ(reader.Packets()[22].counter, 0U) << "of another PID";
    EXPECT_EQ(reader.Packets()[23].counter, 4U);
}

TEST(TsWriter, LeavesNumbersOutWhereItIsToSkipPackets) {
    TsWriter writer;
    writer.WritePes(PID, Counting(10));
    writer.Skip(PID, 2);
    writer.WritePes(PID, Counting(10));
    const PacketReader reader(writer.Written());
    EXPECT_EQ(reader.Packets()[1].counter, 3U);
    EXPECT_EQ(reader.ContinuityBreak(), "PID 291 at 188");
}

TEST(TsWriter, GoesOnCountingWhenItsBytesAreTaken) {
    TsWriter writer;
    writer.WritePes(PID, Counting(10));
    Bytes stream = writer.Take();
    EXPECT_EQ(stream.size(), 188U);
    writer.WritePes(PID, Counting(10));
    writer.WriteNull(2);
    Append(stream, writer.Take());
    EXPECT_EQ(PacketReader(stream).ContinuityBreak(), "");
    EXPECT_THAT(PacketReader(stream).Pids(), testing::ElementsAre(PID, 0x1FFF));
    writer.WriteRaw({1, 2, 3});
    EXPECT_EQ(writer.Written(), (Bytes{1, 2, 3}));
}

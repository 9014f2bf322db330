// SPDX-License-Identifier: Apache-2.0

// Tables byte by byte, also such as the maker of streams doesn't make.

#include "Tables.h"

#include <gmock/gmock.h>

#include "SectionBuilder.h"

namespace {

using streammaker::Bytes;
using tvservice::Pmt;
using tvservice::Section;

Bytes operator+(Bytes one, const Bytes& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

Bytes Make(std::uint8_t tableId, std::uint16_t extension, const Bytes& payload,
           std::uint8_t number = 0) {
    streammaker::SectionBuilder builder;
    builder.tableId = tableId;
    builder.extension = extension;
    builder.version = 7;
    builder.number = number;
    builder.lastNumber = number;
    builder.payload = payload;
    return builder.Build();
}

// Bytes behind their length in 12 bits, with the four bits ahead of it.
Bytes Loop(const Bytes& bytes, unsigned flags = 0xF) {
    return Bytes{static_cast<std::uint8_t>(flags << 4 | bytes.size() >> 8),
                 static_cast<std::uint8_t>(bytes.size())} +
           bytes;
}
Bytes Descriptor(std::uint8_t tag, const Bytes& data) {
    return Bytes{tag, static_cast<std::uint8_t>(data.size())} + data;
}

// --- PAT ---

TEST(Tables, HaveTheProgramsOfAllSectionsOfAPat) {
    const std::optional<tvservice::Pat> pat =
        tvservice::DecodePat({Make(0x00, 0x1234, {0x00, 0x00, 0xE0, 0x10, 0x01, 0x02, 0xFF, 0xFE}),
                              Make(0x00, 0x1234, {0x00, 0x03, 0xE1, 0x00, 0x00, 0x04, 0xE1}, 1)});
    ASSERT_TRUE(pat);
    EXPECT_EQ(pat->transportStreamId, 0x1234);
    EXPECT_EQ(pat->version, 7);
    ASSERT_EQ(pat->programs.size(), 2U) << "without the network's table, and what is cut";
    EXPECT_EQ(pat->programs[0].number, 0x0102);
    EXPECT_EQ(pat->programs[0].pmtPid, 0x1FFE);
    EXPECT_EQ(pat->programs[1].number, 3);
    EXPECT_EQ(pat->programs[1].pmtPid, 0x100);
}

TEST(Tables, AreNoneOfSectionsOfOtherTables) {
    EXPECT_FALSE(tvservice::DecodePat({}));
    EXPECT_FALSE(tvservice::DecodePat({Make(0x02, 1, {})}));
    EXPECT_FALSE(tvservice::DecodePat({Make(0x00, 1, {}), Make(0x42, 1, {})}));
    EXPECT_FALSE(tvservice::DecodePat({Bytes{0x00, 0x30}}));
    EXPECT_FALSE(tvservice::DecodePmt({Make(0x00, 1, {0xE1, 0x00, 0xF0, 0x00})}));
    EXPECT_FALSE(tvservice::DecodeSdt({Make(0x46, 1, {0, 1, 0xFF})}));
    EXPECT_FALSE(tvservice::DecodeEit(Section(Bytes{0x4E, 0x30, 0x01, 0x00})));
}

// --- PMT ---

TEST(Tables, HaveTheStreamsOfAPmt) {
    const Bytes program = Loop(Descriptor(0x0A, {'x', 'x', 'x', 0}));
    const Bytes audio = Bytes{0x03, 0xE1, 0x01} +
                        Loop(Descriptor(0x52, {1}) + Descriptor(0x0A, {'d', 'e', 'u', 0}) +
                             Descriptor(0x0A, {'f', 'r', 'a', 0}));
    const Bytes subtitles =
        Bytes{0x06, 0xFF, 0xFF} + Loop(Descriptor(0x59, {'e', 'n', 'g', 0x10, 0, 1, 0, 1}));
    const Bytes teletext = Bytes{0x06, 0xE1, 0x03} + Loop(Descriptor(0x56, {'n', 'l', 'd', 9, 0}));
    const Bytes plain = Bytes{0x1B, 0xE1, 0x04} + Loop({});
    const std::optional<Pmt> pmt = tvservice::DecodePmt(
        {Make(0x02, 0x0505, Bytes{0xE1, 0x04} + program + audio + subtitles + teletext + plain)});
    ASSERT_TRUE(pmt);
    EXPECT_EQ(pmt->programNumber, 0x0505);
    EXPECT_EQ(pmt->version, 7);
    EXPECT_EQ(pmt->pcrPid, 0x104);
    ASSERT_EQ(pmt->streams.size(), 4U);
    EXPECT_EQ(pmt->streams[0].component, (TSProgramComponent{0x101, 3, "deu"}));
    EXPECT_EQ(pmt->streams[0].captions, Pmt::Captions::None);
    EXPECT_EQ(pmt->streams[1].component, (TSProgramComponent{0x1FFF, 6, "eng"}));
    EXPECT_EQ(pmt->streams[1].captions, Pmt::Captions::DvbSubtitles);
    EXPECT_EQ(pmt->streams[2].component, (TSProgramComponent{0x103, 6, "nld"}));
    EXPECT_EQ(pmt->streams[2].captions, Pmt::Captions::Teletext);
    EXPECT_EQ(pmt->streams[3].component, (TSProgramComponent{0x104, 0x1B, ""}));
}

TEST(Tables, EndAListWithWhatIsCut) {
    const Bytes head{0xFF, 0xFF, 0xF0, 0x00};
    const Bytes whole = Bytes{0x03, 0xE1, 0x01} + Loop({});
    Bytes lying = Bytes{0x03, 0xE1, 0x02} + Loop(Descriptor(0x0A, {'d', 'e', 'u', 0}));
    lying[4] = 7; // one byte more than there is
    std::optional<Pmt> pmt = tvservice::DecodePmt({Make(0x02, 1, head + whole + lying)});
    ASSERT_TRUE(pmt);
    EXPECT_EQ(pmt->streams.size(), 1U);
    // A descriptor that is longer than its loop ends the loop, not the list.
    const Bytes inner = Bytes{0x03, 0xE1, 0x02} + Loop({0x0A, 5, 'd', 'e', 'u'});
    pmt = tvservice::DecodePmt({Make(0x02, 1, head + inner + whole)});
    ASSERT_EQ(pmt->streams.size(), 2U);
    EXPECT_EQ(pmt->streams[0].component.language, "");
    EXPECT_FALSE(tvservice::DecodePmt({Make(0x02, 1, {0xFF, 0xFF, 0xF0, 0x01})}));
    EXPECT_FALSE(tvservice::DecodePmt({Make(0x02, 1, {0xFF, 0xFF, 0xF0})}));
}

TEST(Tables, HaveLanguagesInLettersOnly) {
    const Bytes stream = Bytes{0x03, 0xE1, 0x01} + Loop(Descriptor(0x0A, {0x07, 'e', 0xFF, 0}));
    const std::optional<Pmt> pmt =
        tvservice::DecodePmt({Make(0x02, 1, Bytes{0xFF, 0xFF, 0xF0, 0x00} + stream)});
    EXPECT_EQ(pmt->streams.at(0).component.language, "?e?");
}

// --- SDT ---

TEST(Tables, HaveTheServicesOfAnSdt) {
    const Bytes names = Descriptor(0x48, {0x19, 2, 'P', 'r', 3, 'N', 'a', 'm'});
    const Bytes one = Bytes{0x01, 0x02, 0xFC} + Loop(names, 4U << 1 | 1U);
    const Bytes two = Bytes{0x00, 0x03, 0xFC} + Loop({}, 1U << 1);
    const Bytes odd = Bytes{0x00, 0x04, 0xFC} + Loop({}, 7U << 1); // a status that is reserved
    const std::optional<tvservice::Sdt> sdt =
        tvservice::DecodeSdt({Make(0x42, 0x11, Bytes{0x12, 0x34, 0xFF} + one + two + odd)});
    ASSERT_TRUE(sdt);
    EXPECT_EQ(sdt->transportStreamId, 0x11);
    EXPECT_EQ(sdt->originalNetworkId, 0x1234);
    ASSERT_EQ(sdt->services.size(), 3U);
    EXPECT_EQ(sdt->services[0].serviceId, 0x0102);
    EXPECT_EQ(sdt->services[0].type, 0x19);
    EXPECT_EQ(sdt->services[0].provider, "Pr");
    EXPECT_EQ(sdt->services[0].name, "Nam");
    EXPECT_EQ(sdt->services[0].runningStatus, RUNNING_NOW);
    EXPECT_FALSE(sdt->services[0].freeToAir);
    EXPECT_EQ(sdt->services[1].runningStatus, RUNNING_NOT);
    EXPECT_TRUE(sdt->services[1].freeToAir);
    EXPECT_EQ(sdt->services[2].runningStatus, RUNNING_UNDEFINED);
    EXPECT_FALSE(tvservice::DecodeSdt({Make(0x42, 0x11, {0x12, 0x34})}));
}

// --- EIT ---

Bytes EventOf(std::uint16_t id, const Bytes& descriptors, unsigned flags = 4U << 1) {
    return Bytes{static_cast<std::uint8_t>(id >> 8),
                 static_cast<std::uint8_t>(id),
                 0xC0,
                 0x79,
                 0x12,
                 0x45,
                 0x00,
                 0x01,
                 0x30,
                 0x05} +
           Loop(descriptors, flags);
}
const Bytes EIT_HEAD{0x00, 0x11, 0x00, 0x22, 0x01, 0x4E};

TEST(Tables, HaveTheEventsOfAnEitSection) {
    const Bytes texts = Descriptor(0x4D, {'e', 'n', 'g', 1, 'A', 2, 'B', 'C'});
    const Bytes others = Descriptor(0x4D, {'d', 'e', 'u', 1, 'X', 1, 'Y'});
    Bytes undefined = EventOf(0x0303, {}, 1);
    for (std::size_t at = 2; at < 10; ++at) {
        undefined[at] = 0xFF;
    }
    const Bytes bytes = Make(0x4E, 0x0505, EIT_HEAD + EventOf(0x0102, texts + others) + undefined);
    const std::optional<tvservice::EitSection> eit = tvservice::DecodeEit(Section(bytes));
    ASSERT_TRUE(eit);
    EXPECT_EQ(eit->tableId, 0x4E);
    EXPECT_EQ(eit->serviceId, 0x0505);
    EXPECT_EQ(eit->transportStreamId, 0x11);
    EXPECT_EQ(eit->originalNetworkId, 0x22);
    EXPECT_EQ(eit->number, 0);
    EXPECT_EQ(eit->lastTableId, 0x4E);
    ASSERT_EQ(eit->events.size(), 2U);
    const TSProgramEvent& event = eit->events[0];
    EXPECT_TRUE(event.known);
    EXPECT_EQ(event.event_id, 0x0102);
    EXPECT_EQ(event.start, 750516300);
    EXPECT_EQ(event.duration, 5405U);
    EXPECT_EQ(event.running_status, RUNNING_NOW);
    EXPECT_TRUE(event.free_to_air);
    EXPECT_EQ(event.language, "eng") << "the first descriptor's";
    EXPECT_EQ(event.name, "A");
    EXPECT_EQ(event.text, "BC");
    EXPECT_EQ(eit->events[1].start, -1);
    EXPECT_EQ(eit->events[1].duration, 0U);
    EXPECT_FALSE(eit->events[1].free_to_air);
    EXPECT_FALSE(tvservice::DecodeEit(Section(Make(0x4E, 5, {0, 1, 0, 1, 0}))));
}

TEST(Tables, HaveTextsThatAreLongerThanTheirDescriptorAsFarAsTheyGo) {
    const Bytes texts = Descriptor(0x4D, {'e', 'n', 'g', 9, 'A', 'B'});
    const Bytes bytes = Make(0x4E, 5, EIT_HEAD + EventOf(1, texts) + EventOf(2, {}));
    const std::optional<tvservice::EitSection> eit = tvservice::DecodeEit(Section(bytes));
    ASSERT_EQ(eit->events.size(), 2U);
    EXPECT_EQ(eit->events[0].name, "AB");
    EXPECT_EQ(eit->events[0].text, "");
}

// --- time ---

Bytes OffsetTable(const Bytes& descriptors) {
    Bytes bytes = Bytes{0x73, 0x70, 0, 0xC0, 0x79, 0x12, 0x45, 0x00} + Loop(descriptors);
    bytes.resize(bytes.size() + 4);
    bytes[2] = static_cast<std::uint8_t>(bytes.size() - 3);
    streammaker::RenewCrc(bytes);
    return bytes;
}
Bytes OffsetDescriptor(std::uint8_t polarity, std::uint8_t hours, std::uint8_t minutes) {
    return Descriptor(0x58, {'D', 'E', 'U', polarity, hours, minutes, 0xC0, 0x79, 0, 0, 0, 0, 0});
}

TEST(Tables, TellTheTime) {
    const Bytes date{0x70, 0x70, 0x05, 0xC0, 0x79, 0x12, 0x45, 0x00};
    const std::optional<tvservice::StreamTime> time = tvservice::DecodeTime(Section(date));
    ASSERT_TRUE(time);
    EXPECT_EQ(time->utc, 750516300);
    EXPECT_EQ(time->localOffset, 0);
    EXPECT_FALSE(tvservice::DecodeTime(Section(Bytes{0x70, 0x70, 0x04, 0xC0, 0x79, 0x12, 0x45})));
    EXPECT_FALSE(
        tvservice::DecodeTime(Section(Bytes{0x70, 0x70, 0x05, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})));
}

TEST(Tables, TellTheFirstLocalOffset) {
    const auto offsetOf = [](const Bytes& descriptors) {
        return tvservice::DecodeTime(Section(OffsetTable(descriptors)))->localOffset;
    };
    EXPECT_EQ(offsetOf({}), 0);
    EXPECT_EQ(offsetOf(OffsetDescriptor(0x02, 0x02, 0x00)), 7200);
    EXPECT_EQ(offsetOf(OffsetDescriptor(0x03, 0x03, 0x30)), -12600) << "west";
    EXPECT_EQ(offsetOf(Descriptor(0x58, {'D', 'E', 'U', 2, 1})), 0) << "cut";
    EXPECT_EQ(
        offsetOf(Descriptor(0x40, {1}) + OffsetDescriptor(2, 1, 0) + OffsetDescriptor(2, 2, 0)),
        3600);
}

} // namespace

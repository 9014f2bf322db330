// SPDX-License-Identifier: Apache-2.0

// Streams that aren't damaged, and yet not as smooth as most: jumps that are announced, packets
// with little room, pictures of two fields, another multiplex on the same input.

#include <gmock/gmock.h>

#include "CcUserData.h"
#include "DvbText.h"
#include "H264Coder.h"
#include "PesAssembler.h"
#include "PesBuilder.h"
#include "ProgramSubscriber.h"
#include "SectionBuilder.h"
#include "StreamTables.h"
#include "TableSections.h"
#include "TsWriter.h"
#include "VideoCaptions.h"

namespace {

using streammaker::Bytes;
using testing::ElementsAre;
using testing::Pair;

Bytes Joined(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        streammaker::Append(all, part);
    }
    return all;
}

tvservice::TsPacket MakePacket(unsigned number, bool start, bool discontinuity,
                               const Bytes& payload) {
    tvservice::TsPacket packet;
    packet.continuity = number & 0x0F;
    packet.unitStart = start;
    packet.discontinuity = discontinuity;
    packet.payload = payload;
    return packet;
}

Bytes OpenPes(std::size_t size) {
    streammaker::PesBuilder builder;
    builder.unbounded = true;
    builder.payload = Bytes(size - 9, 0x55);
    return builder.Build();
}

// --- PES ---

class PesJumpTest : public testing::Test, private tvservice::PesSink {
protected:
    std::vector<std::pair<Bytes, bool>> packets; // and whether it is damaged
    tvservice::Counters counters;
    tvservice::PesAssembler assembler{*this, counters};

private:
    void OnPes(std::vector<std::uint8_t>& bytes, bool damaged) override {
        packets.emplace_back(bytes, damaged);
    }
};

TEST_F(PesJumpTest, AClockThatBeginsAnewDamagesNoPacketWhoseCounterGoesOn) {
    const Bytes one = OpenPes(184);
    const Bytes more(184, 0x55);
    assembler.Push(MakePacket(0, true, false, one));
    assembler.Push(MakePacket(1, false, true, more));
    assembler.Push(MakePacket(2, true, true, one));
    assembler.Flush();
    EXPECT_THAT(packets, ElementsAre(Pair(Joined({one, more}), false), Pair(one, false)));
}

TEST_F(PesJumpTest, AJumpThatAPacketWithoutPayloadAnnouncesIsNoGap) {
    const Bytes one = OpenPes(184);
    assembler.Push(MakePacket(0, true, false, one));
    assembler.Push(MakePacket(8, false, true, {}));
    assembler.Push(MakePacket(9, true, false, one));
    EXPECT_EQ(counters.gaps, 0U);
}

TEST_F(PesJumpTest, APacketMayBeginWithFewBytes) {
    streammaker::PesBuilder builder;
    builder.payload = Bytes(50, 1);
    const Bytes whole = builder.Build();
    const Bytes first(whole.begin(), whole.begin() + 4);
    const Bytes second(whole.begin() + 4, whole.begin() + 5);
    const Bytes rest(whole.begin() + 5, whole.end());
    assembler.Push(MakePacket(0, true, false, first));
    assembler.Push(MakePacket(1, false, false, second));
    assembler.Push(MakePacket(2, false, false, rest));
    EXPECT_THAT(packets, ElementsAre(Pair(whole, false)));
}

// --- captions ---

class CaptionJumpTest : public testing::Test {
protected:
    void Push(tvservice::VideoCaptions& video, const Bytes& payload, bool start,
              bool discontinuity = false) {
        video.Push(MakePacket(next++, start, discontinuity, payload));
    }
    void PushPes(tvservice::VideoCaptions& video, const Bytes& data,
                 std::optional<std::uint64_t> pts = {}, std::optional<std::uint64_t> dts = {}) {
        streammaker::PesBuilder builder;
        builder.unbounded = true;
        builder.streamId = streammaker::STREAM_ID_VIDEO;
        builder.pts = pts;
        builder.dts = dts;
        builder.payload = data;
        Push(video, builder.Build(), true);
    }

    static Bytes UserData(std::uint8_t name) {
        return Joined({{0, 0, 1, 0xB2}, streammaker::CcUserData({0xFC, name, 0x80})});
    }
    static Bytes Sei(std::uint8_t name) {
        const Bytes message =
            Joined({{0xB5, 0, 0x31}, streammaker::CcUserData({0xFC, name, 0x80})});
        return streammaker::NalUnit(
            6, Joined({{4, static_cast<std::uint8_t>(message.size())}, message, {0x80}}));
    }

    const Bytes delimiter = streammaker::NalUnit(9, {0xF0});
    const Bytes slice = streammaker::NalUnit(0x61, {0x88, 1, 2});
    unsigned next = 0; // continuity_counter
    std::vector<int> shown;
    tvservice::Counters counters;
    tvservice::PresentationOrder::Show show = [this](const tvservice::CodedPicture& picture) {
        for (std::size_t at = 1; at < picture.ccData.size(); at += 3) {
            shown.push_back(picture.ccData[at]);
        }
    };
    tvservice::VideoCaptions mpeg2{0x02, show, counters};
    tvservice::VideoCaptions h264{0x1B, show, counters};
};

TEST_F(CaptionJumpTest, ADelimiterBeginsAPictureThoughTheSlicesOfTheLastAreLost) {
    const Bytes filler = streammaker::NalUnit(12, {0xFF, 0x80});
    PushPes(h264, Joined({delimiter, Sei(1), filler}), 1000, 1000);
    ++next; // its slices
    PushPes(h264, Joined({delimiter, slice}), 3000, 2000);
    PushPes(h264, Joined({delimiter, Sei(2), slice}), 2000, 2500);
    h264.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2));
}

TEST_F(CaptionJumpTest, NothingIsPutTogetherOverAJumpThatTheStreamAnnounces) {
    const Bytes one = UserData(1);
    const Bytes two = UserData(2);
    const Bytes header{0, 0, 1, 0, 0, 3 << 3, 0xFF, 0xF8};
    PushPes(mpeg2, Joined({header, Bytes(one.begin(), one.end() - 4)}));
    next += 5;
    Push(mpeg2, Joined({Bytes(two.end() - 4, two.end()), {0, 0, 1, 1, 2}}), false, true);
    mpeg2.Flush();
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(counters.gaps, 0U);
}

TEST_F(CaptionJumpTest, BothFieldsOfAFrameWaitForTheBPicturesAheadOfThem) {
    const auto picture = [](unsigned reference, unsigned type, std::uint8_t name) {
        return Joined({{0, 0, 1, 0, static_cast<std::uint8_t>(reference >> 2),
                        static_cast<std::uint8_t>((reference & 3) << 6 | type << 3), 0xFF, 0xF8},
                       UserData(name),
                       {0, 0, 1, 1, 2}});
    };
    PushPes(mpeg2,
            Joined({picture(1, 1, 3), picture(1, 2, 4), picture(0, 3, 1), picture(0, 3, 2)}));
    mpeg2.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3, 4));
}

TEST_F(CaptionJumpTest, APictureWithoutATimeStaysBehindTheOneAheadOfIt) {
    // A P frame of two fields, and a B picture that is shown ahead of it.
    PushPes(h264, Joined({delimiter, Sei(2), slice, delimiter, Sei(3), slice}), 3000, 1000);
    PushPes(h264, Joined({delimiter, Sei(1), slice}), 2000);
    h264.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3));
}

TEST_F(CaptionJumpTest, AClockThatStepsBackALittleLetsGoOfWhatWaits) {
    PushPes(h264, Joined({delimiter, Sei(1), slice}), 500'000, 496'000);
    PushPes(h264, Joined({delimiter, Sei(2), slice}), 54'000, 50'000);
    PushPes(h264, Joined({delimiter, Sei(3), slice}), 58'000, 54'000);
    h264.Flush();
    EXPECT_THAT(shown, ElementsAre(1, 2, 3));
}

// --- texts ---

TEST(TextJump, HalfASurrogateCostsNothingBehindIt) {
    EXPECT_EQ(tvservice::TextOf(Bytes{0x11, 0xD8, 0x00, 0x00, 'A'}), "\uFFFD"
                                                                     "A");
}
TEST(TextJump, AZeroEndsNoText) {
    EXPECT_EQ(tvservice::TextOf(Bytes{0x11, 0, 'A', 0, 0, 0, 'B'}), "AB");
}
TEST(TextJump, TwoByteTablesHaveTheirControlCodesInTheirOwnBytes) {
    EXPECT_EQ(tvservice::TextOf(Bytes{0x12, 0xB0, 0xA1, 0xE0, 0x8A, 0xB0, 0xA1}), "가\n가");
}

// --- tables ---

class TableJumpTest : public testing::Test, private tvservice::TableSink {
protected:
    TableJumpTest() {
        streammaker::Service service;
        service.id = 1;
        service.name = "One";
        service.pmtPid = 0x1000;
        service.videoPid = 0x101;
        service.present.emplace();
        service.present->id = 7;
        service.present->start = 1714593600;
        service.present->duration = 60;
        multiplex.services = {service};
    }
    void Push(std::uint16_t pid, const std::vector<Bytes>& sections) {
        for (const Bytes& section : sections) {
            writer.WriteSection(pid, section);
        }
        const Bytes stream = writer.Take();
        for (std::size_t at = 0; at < stream.size(); at += 188) {
            demuxer.Push(std::span<const std::uint8_t, 188>(&stream[at], 188));
        }
    }

    std::vector<int> told; // events, to those who name the whole service
    streammaker::TsWriter writer;
    streammaker::Multiplex multiplex;
    tvservice::Demuxer demuxer;
    tvservice::SectionRouter router{demuxer};
    tvservice::ProgramGuide guide{[this](EProgramChangeType type, const TCProgramData& data) {
        if (type == PROGRAM_PRESENT_CHANGED &&
            MatchesServiceKey(MakeServiceKey(1, 1, 1), data.ServiceKey())) {
            told.push_back(data.event.event_id);
        }
    }};
    tvservice::StreamTables tables{router, guide, *this};

private:
    void OnPat(const tvservice::Pat& /*pat*/) override {}
    void OnPmt(std::uint16_t /*pid*/, const tvservice::Pmt& /*pmt*/) override {}
    void OnTime(const tvservice::StreamTime& /*time*/) override {}
};

TEST_F(TableJumpTest, AProgramOfAnotherStreamGetsItsMapThoughThatIsTheSame) {
    Push(0, PatSections(multiplex));
    Push(0x1000, PmtSections(multiplex.services[0]));
    multiplex.transportStreamId = 2;
    Push(0, PatSections(multiplex, 1));
    Push(0x1000, PmtSections(multiplex.services[0]));
    EXPECT_EQ(guide.Programs().at(0).components.size(), 1U);
}

TEST_F(TableJumpTest, AnEventReachesWhoNamesTheWholeServiceThoughItsNetworkIsToldLater) {
    Push(0, PatSections(multiplex));
    for (int round = 0; round < 3; ++round) {
        Push(0x12, PresentFollowingSections(multiplex, multiplex.services[0]));
        Push(0x11, SdtSections(multiplex));
    }
    EXPECT_THAT(told, ElementsAre(7));
}

TEST_F(TableJumpTest, ASectionThatTheScheduleHasNoMoreTakesItsEventsAlong) {
    Push(0, PatSections(multiplex));
    const auto section = [](std::uint8_t version, std::uint8_t number, std::uint8_t last,
                            std::uint8_t event) {
        streammaker::SectionBuilder builder;
        builder.tableId = 0x50;
        builder.extension = 1;
        builder.version = version;
        builder.number = number;
        builder.lastNumber = last;
        builder.payload = {0,    1,    0,    1, last, 0x50, 0, event, 0xC0,
                           0x79, 0x12, 0x45, 0, 0,    1,    0, 0,     0};
        return builder.Build();
    };
    Push(0x12, {section(0, 0, 1, 1), section(0, 1, 1, 2)});
    EXPECT_EQ(guide.Schedule(0, 0, 2'000'000'000).size(), 2U);
    Push(0x12, {section(1, 0, 0, 3)}); // one section now
    const std::vector<TCProgramData> list = guide.Schedule(0, 0, 2'000'000'000);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].event.event_id, 3);
}

TEST_F(TableJumpTest, ATableThatTheScheduleHasNoMoreTakesItsEventsAlong) {
    Push(0, PatSections(multiplex));
    const auto section = [](std::uint8_t version, std::uint8_t table, std::uint8_t lastTable,
                            std::uint8_t event) {
        streammaker::SectionBuilder builder;
        builder.tableId = table;
        builder.extension = 1;
        builder.version = version;
        builder.payload = {0,    1,    0,    1, 0, lastTable, 0, event, 0xC0,
                           0x79, 0x12, 0x45, 0, 0, 1,         0, 0,     0};
        return builder.Build();
    };
    const auto events = [this] {
        std::vector<int> ids;
        for (const TCProgramData& data : guide.Schedule(0, 0, 2'000'000'000)) {
            ids.push_back(data.event.event_id);
        }
        return ids;
    };
    Push(0x12, {section(0, 0x50, 0x52, 1), section(0, 0x51, 0x52, 2), section(0, 0x52, 0x52, 3)});
    EXPECT_THAT(events(), ElementsAre(1, 2, 3));
    Push(0x12, {section(1, 0x51, 0x50, 4)}); // which says that it isn't there itself
    EXPECT_THAT(events(), ElementsAre(1, 4, 3));
    Push(0x12, {section(1, 0x50, 0x51, 5)});
    EXPECT_THAT(events(), ElementsAre(5, 4));
    Push(0x12, {section(0, 0x52, 0x52, 3)}); // it comes back as it was
    EXPECT_THAT(events(), ElementsAre(5, 4, 3));
}

TEST_F(TableJumpTest, AProgramThatIsListedTwiceHasTheFirstPid) {
    streammaker::SectionBuilder builder;
    builder.extension = 1;
    builder.payload = {0, 1, 0xF0, 0x00, 0, 1, 0xF0, 0x01};
    Push(0, {builder.Build()});
    Push(0x1000, PmtSections(multiplex.services[0]));
    EXPECT_EQ(guide.Programs().at(0).components.size(), 1U);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The stream as a whole: its rate, its clock, when its tables come, and what is added by hand.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <stdexcept>

#include "CcUserData.h"
#include "PacketReader.h"
#include "PesBuilder.h"
#include "SectionBuilder.h"
#include "StreamClock.h"
#include "StreamMaker.h"
#include "Television.h"

using namespace streammaker;
using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

constexpr std::uint64_t CLOCK = 27'000'000;

double SecondsAt(std::size_t place, std::uint64_t rate) {
    return static_cast<double>(place) * 8 / static_cast<double>(rate);
}

// The longest time between two of the units, and from the begin to the first.
double LongestGap(const std::vector<PacketReader::Unit>& units, double duration,
                  std::uint64_t rate = StreamSettings().muxRate) {
    double last = 0;
    double longest = 0;
    for (const PacketReader::Unit& unit : units) {
        longest = std::max(longest, SecondsAt(unit.place, rate) - last);
        last = SecondsAt(unit.place, rate);
    }
    return std::max(longest, duration - last);
}

} // namespace

TEST(StreamMaker, FillsTheRateThatItWasAskedFor) {
    for (std::uint64_t rate : {std::uint64_t{1'000'000}, std::uint64_t{3'333'333}}) {
        StreamSettings settings;
        settings.muxRate = rate;
        const Bytes stream = StreamMaker(TwoServices(), settings).Make(2s);
        EXPECT_NEAR(static_cast<double>(stream.size()), static_cast<double>(rate) * 2 / 8, 188);
        EXPECT_EQ(PacketReader(stream).ContinuityBreak(), "");
    }
}

TEST(StreamMaker, TellsTheClockOfEachPlaceEvery40Milliseconds) {
    StreamSettings settings;
    settings.clockStart = (1ULL << 33) - 90'000; // wraps in the stream
    const PacketReader reader(StreamMaker(TwoServices(), settings).Make(3s));
    std::map<std::uint16_t, double> last{{0x101, 0}, {0x201, 0}};
    for (const PacketReader::Packet& packet : reader.Packets()) {
        if (packet.pcr) {
            const std::uint64_t expected =
                (settings.clockStart * 300 + (packet.place + 10) * 8 * CLOCK / settings.muxRate) %
                ((1ULL << 33) * 300);
            EXPECT_EQ(*packet.pcr, expected);
            const double now = SecondsAt(packet.place, settings.muxRate);
            EXPECT_LE(now - last.at(packet.pid), 0.04);
            last[packet.pid] = now;
        }
    }
    EXPECT_THAT(last, testing::Each(testing::Pair(testing::_, testing::Gt(2.95))));
}

TEST(StreamMaker, TellsTheClockOnAPidOfItsOwnWhereAsked) {
    Multiplex multiplex = TwoServices();
    multiplex.services[0].codec = VideoCodec::NONE;
    multiplex.services[0].pcrPid = 0x130;
    multiplex.services[1].codec = VideoCodec::NONE;
    const PacketReader reader(StreamMaker(multiplex).Make(1s));
    EXPECT_THAT(reader.Pids(), ElementsAre(0, 0x11, 0x12, 0x14, 0x100, 0x130, 0x200, 0x1FFF));
    EXPECT_EQ(std::count_if(reader.Packets().begin(), reader.Packets().end(),
                            [](const auto& packet) { return packet.pid == 0x130 && packet.pcr; }),
              34);
}

TEST(StreamMaker, TellsTimesOfPresentationThatWrap) {
    StreamSettings settings;
    settings.clockStart = (1ULL << 33) - 90'000;
    const StreamMaker maker(TwoServices(), settings);
    EXPECT_EQ(maker.PtsAt(0s), (1ULL << 33) - 90'000 + 18'000);
    EXPECT_EQ(maker.PtsAt(1s), 18'000U);
    EXPECT_EQ(maker.PtsOfPicture(24), 18'000U);
}

TEST(StreamMaker, RepeatsEachTableInItsTime) {
    Multiplex multiplex = TwoServices();
    multiplex.services[0].schedule.push_back(*multiplex.services[0].present);
    const PacketReader reader(StreamMaker(multiplex).Make(5s));
    EXPECT_LE(LongestGap(reader.SectionsOf(0, 0x00), 5), 0.11);
    EXPECT_LE(LongestGap(reader.SectionsOf(0x100, 0x02), 5), 0.11);
    EXPECT_LE(LongestGap(reader.SectionsOf(0x200, 0x02), 5), 0.11);
    EXPECT_LE(LongestGap(reader.SectionsOf(0x11, 0x42), 5), 1.05);
    EXPECT_LE(LongestGap(reader.SectionsOf(0x12, 0x4E), 5), 0.55);
    EXPECT_LE(LongestGap(reader.SectionsOf(0x12, 0x50), 5), 1.05);
    EXPECT_LE(LongestGap(reader.SectionsOf(0x14, 0x70), 5), 1.05);
}

TEST(StreamMaker, LeavesATableOutThatHasNoInterval) {
    StreamSettings settings;
    settings.tdtInterval = 0ms;
    settings.sdtInterval = 0ms;
    const PacketReader reader(StreamMaker(TwoServices(), settings).Make(1s));
    EXPECT_TRUE(reader.SectionsOf(0x14).empty());
    EXPECT_TRUE(reader.SectionsOf(0x11).empty());
    EXPECT_FALSE(reader.SectionsOf(0x12).empty());
}

TEST(StreamMaker, TellsTheTimeEverySecond) {
    StreamSettings settings;
    settings.utcStart = 750516299; // 12:44:59 on 13 October 1993
    const PacketReader reader(StreamMaker(TwoServices(), settings).Make(2s));
    const std::vector<PacketReader::Unit> sections = reader.SectionsOf(0x14);
    ASSERT_EQ(sections.size(), 2U);
    EXPECT_THAT(sections[0].bytes, ElementsAre(0x70, 0x70, 5, 0xC0, 0x79, 0x12, 0x44, 0x59));
    EXPECT_THAT(sections[1].bytes, ElementsAre(0x70, 0x70, 5, 0xC0, 0x79, 0x12, 0x45, 0x00));
}

TEST(StreamMaker, HasEachPictureThereBeforeItsTimeOfDecoding) {
    for (VideoCodec codec : {VideoCodec::MPEG2, VideoCodec::H264}) {
        const StreamSettings settings;
        const PacketReader reader(StreamMaker(TwoServices(codec)).Make(4s));
        const std::vector<PacketReader::Unit> pictures = reader.PesOf(0x101);
        ASSERT_EQ(pictures.size(), 100U);
        std::set<std::uint64_t> shown;
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            const Bytes& pes = pictures[i].bytes;
            const double here =
                SecondsAt(pictures[i].place + pes.size() * 2, settings.muxRate) * 90'000;
            EXPECT_EQ(DtsOf(pes), 18'000 + i * 3600);
            EXPECT_GE(static_cast<double>(DtsOf(pes)), here);
            EXPECT_GE(PtsOf(pes), DtsOf(pes));
            shown.insert(PtsOf(pes));
        }
        EXPECT_EQ(shown.size(), 100U);
        EXPECT_EQ(*shown.begin(), 18'000U + 3600);
        EXPECT_EQ(*shown.rbegin(), 18'000U + 100 * 3600);
    }
}

TEST(StreamMaker, BoundsTheVideosPacketsWhereAsked) {
    Multiplex multiplex = TwoServices(VideoCodec::H264);
    multiplex.services[1].boundedVideo = true;
    const PacketReader reader(StreamMaker(multiplex).Make(1s));
    for (const PacketReader::Unit& unit : reader.PesOf(0x101)) {
        EXPECT_EQ(unit.bytes[4] << 8 | unit.bytes[5], 0);
    }
    for (const PacketReader::Unit& unit : reader.PesOf(0x201)) {
        EXPECT_EQ(static_cast<std::size_t>(unit.bytes[4] << 8 | unit.bytes[5]),
                  unit.bytes.size() - 6);
    }
}

TEST(StreamMaker, SendsWhatIsAddedAtItsTime) {
    StreamMaker maker(TwoServices());
    SectionBuilder section;
    section.tableId = 0x80;
    section.payload = {1, 2, 3};
    maker.AddSections(500ms, 0x500, {section.Build()});
    maker.AddPes(1500ms, 0x501, {0x20, 0, 0xFF});
    const PacketReader reader(maker.Make(2s));
    ASSERT_EQ(reader.SectionsOf(0x500).size(), 1U);
    EXPECT_EQ(reader.SectionsOf(0x500)[0].bytes, section.Build());
    EXPECT_NEAR(SecondsAt(reader.SectionsOf(0x500)[0].place, 2'000'000), 0.5, 0.02);
    ASSERT_EQ(reader.PesOf(0x501).size(), 1U);
    const PacketReader::Unit pes = reader.PesOf(0x501)[0];
    EXPECT_NEAR(SecondsAt(pes.place, 2'000'000), 1.5, 0.02);
    EXPECT_EQ(PtsOf(pes.bytes), 1.7 * 90'000);
    EXPECT_EQ(PtsOf(pes.bytes), maker.PtsAt(1500ms));
    EXPECT_THAT(Bytes(pes.bytes.begin() + 14, pes.bytes.end()), ElementsAre(0x20, 0, 0xFF));
}

TEST(StreamMaker, EndsWithNothingLeftToSend) {
    StreamMaker maker(TwoServices());
    maker.AddPes(999ms, 0x501, Bytes(20'000));
    const PacketReader reader(maker.Make(1s));
    ASSERT_EQ(reader.PesOf(0x501).size(), 1U);
    EXPECT_EQ(reader.PesOf(0x501)[0].bytes.size(), 20'000U + 14);
}

TEST(StreamMaker, PutsCaptionDataIntoTheVeryPicture) {
    const Bytes triplets = CcTriplets({{0x94, 0x2F}, {0x94, 0x2F}});
    for (VideoCodec codec : {VideoCodec::MPEG2, VideoCodec::H264}) {
        StreamMaker maker(TwoServices(codec));
        maker.AddCcData(1, 14, triplets);
        const PacketReader reader(maker.Make(1s));
        std::vector<std::uint64_t> times;
        for (const PacketReader::Unit& unit : reader.PesOf(0x101)) {
            const std::string text(unit.bytes.begin(), unit.bytes.end());
            const Bytes data = CcUserData(triplets);
            if (text.find("GA94") != std::string::npos) {
                times.push_back(PtsOf(unit.bytes));
                EXPECT_NE(text.find(std::string(data.begin(), data.end())), std::string::npos);
            }
        }
        EXPECT_THAT(times, ElementsAre(maker.PtsOfPicture(14)));
    }
}

TEST(StreamMaker, WritesTheSameToAStream) {
    const StreamMaker maker(TwoServices());
    std::ostringstream stream;
    maker.Write(stream, 3s);
    const std::string text = stream.str();
    EXPECT_EQ(Bytes(text.begin(), text.end()), maker.Make(3s));
    EXPECT_EQ(maker.Make(0s), Bytes());
}

TEST(StreamMaker, ThrowsWhenTheStreamFails) {
    std::ostringstream stream;
    stream.setstate(std::ios::badbit);
    EXPECT_THROW(StreamMaker(TwoServices()).Write(stream, 1s), std::runtime_error);
}

TEST(StreamMaker, CountsTheClockOfAStreamThatIsDaysLong) {
    constexpr std::uint64_t RATE = 100'000'000;
    constexpr std::uint64_t DAYS = 30 * 86'400;
    EXPECT_EQ(TicksOf(DAYS * RATE, RATE, CLOCK), DAYS * CLOCK);
    EXPECT_EQ(TicksOf(DAYS * RATE + 50, RATE, CLOCK), DAYS * CLOCK + 13) << "rounded down";
    EXPECT_EQ(TicksOf(HIGHEST_RATE - 1, HIGHEST_RATE, CLOCK), CLOCK - 1);
    EXPECT_EQ(TicksOf(10, 3, 1), 3U);
}

TEST(StreamMaker, RefusesARateThatIsTooHighToCount) {
    StreamSettings settings;
    settings.muxRate = HIGHEST_RATE;
    EXPECT_NO_THROW(StreamMaker(TwoServices(), settings));
    ++settings.muxRate;
    EXPECT_THROW(StreamMaker(TwoServices(), settings), std::invalid_argument);
}

TEST(StreamMaker, RefusesARateThatIsTooLow) {
    StreamSettings settings;
    settings.muxRate = 100'000;
    EXPECT_THROW(StreamMaker(TwoServices(), settings).Make(2s), std::runtime_error);
    Multiplex withoutVideo = TwoServices();
    withoutVideo.services[0].codec = VideoCodec::NONE;
    withoutVideo.services[1].codec = VideoCodec::NONE;
    EXPECT_NO_THROW(StreamMaker(withoutVideo, settings).Make(2s));
    settings.muxRate = 40'000;
    EXPECT_THROW(StreamMaker(withoutVideo, settings).Make(2s), std::runtime_error);
    settings.muxRate = 0;
    EXPECT_THROW(StreamMaker(TwoServices(), settings), std::invalid_argument);
}

TEST(StreamMaker, RefusesWhatIsNoMultiplex) {
    const auto refuses = [](const StreamMaker::Change& change) {
        Multiplex multiplex = TwoServices();
        change(multiplex);
        EXPECT_THROW(StreamMaker{multiplex}, std::invalid_argument);
        StreamMaker maker(TwoServices());
        maker.At(100ms, change);
        EXPECT_THROW(maker.Make(1s), std::invalid_argument);
    };
    refuses([](Multiplex& multiplex) { multiplex.services[0].id = 2; });
    refuses([](Multiplex& multiplex) { multiplex.services[0].id = 0; });
    refuses([](Multiplex& multiplex) { multiplex.services[0].pmtPid = 0x2000; });
    refuses([](Multiplex& multiplex) { multiplex.services[0].videoPid = 0x12; });
    refuses([](Multiplex& multiplex) { multiplex.services[0].videoPid = 0x201; });
    refuses([](Multiplex& multiplex) {
        multiplex.services[0].components.push_back({0x1FFF, 6, {}});
    });
    EXPECT_THROW(TwoServices().ServiceOf(3), std::invalid_argument);
}

TEST(StreamMaker, RefusesTimesAheadOfTheBegin) {
    StreamMaker maker(TwoServices());
    EXPECT_THROW(maker.At(-1us, [](Multiplex&) {}), std::invalid_argument);
    EXPECT_THROW(maker.AddPackets(-1us, {}), std::invalid_argument);
    EXPECT_THROW(maker.AddCaption(1, -1us, "Hi"), std::invalid_argument);
}

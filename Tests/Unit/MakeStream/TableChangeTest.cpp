// SPDX-License-Identifier: Apache-2.0

// Tables: what stands in them, and the versions of those that change.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

#include "PacketReader.h"
#include "SectionBuilder.h"
#include "StreamMaker.h"
#include "TableSections.h"
#include "Television.h"

using namespace streammaker;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Units = std::vector<PacketReader::Unit>;

// The versions as they come, without repetitions.
std::vector<unsigned> VersionsOf(const Units& units) {
    std::vector<unsigned> versions;
    for (const PacketReader::Unit& unit : units) {
        EXPECT_EQ(Crc32(unit.bytes), 0U);
        if (versions.empty() || versions.back() != VersionOf(unit.bytes)) {
            versions.push_back(VersionOf(unit.bytes));
        }
    }
    return versions;
}

std::size_t PlaceOfVersion(const Units& units, unsigned version) {
    for (const PacketReader::Unit& unit : units) {
        if (VersionOf(unit.bytes) == version) {
            return unit.place;
        }
    }
    ADD_FAILURE() << "no version " << version;
    return 0;
}

Units Of(Units units, unsigned extension) {
    std::erase_if(units, [&](const auto& unit) { return ExtensionOf(unit.bytes) != extension; });
    return units;
}

Bytes Payload(const Bytes& section) {
    return {section.begin() + 8, section.end() - 4};
}

double SecondsAt(std::size_t place) {
    return static_cast<double>(place) * 8 / 2'000'000;
}

// Where the PID's first and last packet are, in seconds.
std::pair<double, double> SpanOf(const PacketReader& reader, std::uint16_t pid) {
    std::pair<double, double> span{-1, -1};
    for (const PacketReader::Packet& packet : reader.Packets()) {
        if (packet.pid == pid) {
            span = {span.first < 0 ? SecondsAt(packet.place) : span.first, SecondsAt(packet.place)};
        }
    }
    return span;
}

} // namespace

TEST(TableSections, DescribeAProgram) {
    Multiplex multiplex = TwoServices();
    EXPECT_THAT(Payload(PatSections(multiplex)[0]),
                ElementsAre(0, 1, 0xE1, 0x00, 0, 2, 0xE2, 0x00));
    Service& service = multiplex.services[0];
    service.components.push_back({0x102, 6, {Descriptor{0x59, {1, 2}}}});
    service.programDescriptors.push_back({0x0E, {9}});
    const Bytes pmt = PmtSections(service, 35)[0];
    EXPECT_EQ(VersionOf(pmt), 3U);
    EXPECT_EQ(ExtensionOf(pmt), 1U);
    EXPECT_THAT(Payload(pmt), ElementsAre(0xE1, 0x01, 0xF0, 3, 0x0E, 1, 9,         // PCR_PID
                                          0x02, 0xE1, 0x01, 0xF0, 0,               // video
                                          0x06, 0xE1, 0x02, 0xF0, 4, 0x59, 2, 1, 2 // subtitles
                                          ));
    service.codec = VideoCodec::NONE;
    service.components.clear();
    service.programDescriptors.clear();
    EXPECT_THAT(Payload(PmtSections(service)[0]), ElementsAre(0xFF, 0xFF, 0xF0, 0));
}

TEST(TableSections, DescribeServices) {
    Multiplex multiplex = TwoServices();
    multiplex.services.pop_back();
    multiplex.services[0].scrambled = true;
    const Bytes sdt = SdtSections(multiplex)[0];
    EXPECT_EQ(ExtensionOf(sdt), 0x11U);
    EXPECT_EQ(sdt[1], 0xF0) << "with its reserved bits";
    EXPECT_EQ(PatSections(multiplex)[0][1], 0xB0);
    EXPECT_THAT(Payload(sdt), ElementsAre(0, 0x22, 0xFF, 0, 1, 0xFD, 0x90, 15, 0x48, 13, 1, 6, 0x15,
                                          'M', 'a', 'k', 'e', 'r', 4, 0x15, 'O', 'n', 'e'));
}

TEST(TableSections, DescribeThePresentAndTheFollowingEvent) {
    Multiplex multiplex = TwoServices();
    multiplex.services[0].following.reset();
    multiplex.services[0].present->scrambled = true;
    const Sections sections = PresentFollowingSections(multiplex, multiplex.services[0]);
    ASSERT_EQ(sections.size(), 2U);
    for (std::uint8_t number : {0, 1}) {
        EXPECT_EQ(Crc32(sections[number]), 0U);
        EXPECT_EQ(sections[number][0], 0x4E);
        EXPECT_EQ(ExtensionOf(sections[number]), 1U);
        EXPECT_EQ(sections[number][6], number);
        EXPECT_EQ(sections[number][7], 1);
    }
    EXPECT_THAT(Payload(sections[0]),
                ElementsAre(0, 0x11, 0, 0x22, 1, 0x4E,                            // stream
                            0, 7, 0xEC, 0x0F, 0x20, 0x00, 0x00, 0x01, 0x00, 0x00, // event
                            0x90, 11, 0x4D, 9, 'e', 'n', 'g', 4, 0x15, 'N', 'o', 'w', 0));
    EXPECT_THAT(Payload(sections[1]), ElementsAre(0, 0x11, 0, 0x22, 1, 0x4E));
}

TEST(TableSections, NumberTheScheduleBySegments) {
    const std::int64_t midnight = 1714521600; // 1 May 2024
    Multiplex multiplex = TwoServices();
    Service& service = multiplex.services[0];
    Event event = *service.present;
    for (int hours : {7, 8, 13}) { // in segments 2, 2 and 4
        event.start = midnight + hours * 3600;
        service.schedule.push_back(event);
    }
    const Sections sections = ScheduleSections(multiplex, service, midnight + 50'000);
    std::vector<std::vector<int>> numbers;
    for (const Bytes& section : sections) {
        EXPECT_EQ(section[0], 0x50);
        EXPECT_EQ(Crc32(section), 0U);
        numbers.push_back({section[6], section[12], section[7]});
    }
    EXPECT_THAT(numbers,
                ElementsAre(ElementsAre(0, 0, 32), ElementsAre(8, 8, 32), ElementsAre(16, 16, 32),
                            ElementsAre(24, 24, 32), ElementsAre(32, 32, 32)));
    EXPECT_EQ(Payload(sections[1]).size(), 6U);
    EXPECT_EQ(Payload(sections[2]).size(), 6U + 2 * 23);
}

TEST(TableSections, TakeSeveralSectionsForAFullSegment) {
    Multiplex multiplex = TwoServices();
    Service& service = multiplex.services[0];
    Event event = *service.present;
    event.text = std::string(200, 'x');
    service.schedule.assign(30, event);
    const Sections sections = ScheduleSections(multiplex, service, event.start);
    ASSERT_EQ(sections.size(), 6U + 2) << "it starts in segment 6";
    EXPECT_EQ(sections[6][6], 48);
    EXPECT_EQ(sections[7][6], 49);
    EXPECT_EQ(sections[6][12], 49) << "segment_last_section_number";
    EXPECT_LE(sections[6].size(), 4096U);
    service.schedule.assign(300, event);
    EXPECT_THROW(ScheduleSections(multiplex, service, event.start), std::length_error);
}

TEST(TableSections, RefuseAScheduleOutOfItsDays) {
    Multiplex multiplex = TwoServices();
    Service& service = multiplex.services[0];
    service.schedule.push_back(*service.present);
    const std::int64_t start = service.present->start;
    EXPECT_THROW(ScheduleSections(multiplex, service, start + 86400), std::invalid_argument);
    EXPECT_THROW(ScheduleSections(multiplex, service, start - 4 * 86400), std::invalid_argument);
}

TEST(TableChange, IsANewVersionOfThatTableAtOnce) {
    StreamMaker maker(TwoServices());
    maker.At(1030ms, [](Multiplex& multiplex) {
        multiplex.ServiceOf(1).components.push_back({0x102, 6, {SubtitlingDescriptor("eng")}});
    });
    maker.At(2030ms, [](Multiplex& multiplex) { multiplex.ServiceOf(1).components.clear(); });
    const PacketReader reader(maker.Make(3s));
    const Units pmt = reader.SectionsOf(0x100);
    EXPECT_THAT(VersionsOf(pmt), ElementsAre(0, 1, 2));
    EXPECT_NEAR(SecondsAt(PlaceOfVersion(pmt, 1)), 1.03, 0.01);
    EXPECT_NEAR(SecondsAt(PlaceOfVersion(pmt, 2)), 2.03, 0.01);
    EXPECT_EQ(pmt.back().bytes.size(), pmt.front().bytes.size());
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0x200)), ElementsAre(0));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0)), ElementsAre(0));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0x11)), ElementsAre(0));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0x12)), ElementsAre(0));
    EXPECT_EQ(reader.ContinuityBreak(), "");
}

TEST(TableChange, CountsVersionsUpToThirtyOne) {
    StreamMaker maker(TwoServices());
    for (int i = 1; i <= 33; ++i) {
        maker.At(i * 50ms,
                 [i](Multiplex& multiplex) { multiplex.ServiceOf(1).name = std::to_string(i); });
    }
    std::vector<unsigned> versions = VersionsOf(PacketReader(maker.Make(2s)).SectionsOf(0x11));
    ASSERT_EQ(versions.size(), 34U);
    EXPECT_EQ(versions[31], 31U);
    EXPECT_EQ(versions[32], 0U);
}

TEST(TableChange, OfNothingIsNoNewVersion) {
    StreamMaker maker(TwoServices());
    maker.At(500ms, [](Multiplex&) {});
    const PacketReader reader(maker.Make(1s));
    for (std::uint16_t pid : {0x00, 0x11, 0x12, 0x100, 0x200}) {
        EXPECT_THAT(VersionsOf(reader.SectionsOf(pid)), ElementsAre(0)) << pid;
    }
}

TEST(TableChange, TurnsAnEventOver) {
    Multiplex multiplex = TwoServices();
    multiplex.services[1].present = multiplex.services[0].present;
    StreamMaker maker(multiplex);
    maker.At(1s, [](Multiplex& changed) {
        Service& service = changed.ServiceOf(1);
        service.present = service.following;
        service.following.reset();
    });
    const PacketReader reader(maker.Make(2s));
    const Units events = Of(reader.SectionsOf(0x12), 1);
    EXPECT_THAT(VersionsOf(events), ElementsAre(0, 1));
    EXPECT_EQ(events.front().bytes[15], 7) << "event_id";
    EXPECT_EQ(events[events.size() - 2].bytes[15], 8);
    EXPECT_THAT(VersionsOf(Of(reader.SectionsOf(0x12), 2)), ElementsAre(0));
}

TEST(TableChange, TakesAServiceAwayWithAllThatIsIts) {
    Multiplex multiplex = TwoServices();
    multiplex.services[1].present = multiplex.services[0].present;
    StreamMaker maker(multiplex);
    maker.At(1s, [](Multiplex& changed) { changed.services.pop_back(); });
    const PacketReader reader(maker.Make(2s));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0)), ElementsAre(0, 1));
    EXPECT_EQ(Payload(reader.SectionsOf(0).back().bytes).size(), 4U);
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0x11)), ElementsAre(0, 1));
    EXPECT_LE(SpanOf(reader, 0x200).second, 1.0);
    EXPECT_LE(SpanOf(reader, 0x201).second, 1.0);
    EXPECT_LE(SecondsAt(Of(reader.SectionsOf(0x12), 2).back().place), 1.0);
    EXPECT_GT(SpanOf(reader, 0x101).second, 1.9);
}

TEST(TableChange, BringsAServiceThatBeginsWithAWholePicture) {
    const Service second = TwoServices().services[1];
    Multiplex multiplex = TwoServices();
    multiplex.services.pop_back();
    StreamMaker maker(multiplex);
    maker.At(1010ms, [second](Multiplex& changed) { changed.services.push_back(second); });
    const PacketReader reader(maker.Make(2s));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0)), ElementsAre(0, 1));
    EXPECT_GE(SpanOf(reader, 0x200).first, 1.01);
    EXPECT_LE(SpanOf(reader, 0x200).first, 1.02);
    const Units pictures = reader.PesOf(0x201);
    ASSERT_EQ(pictures.size(), 24U) << "from 1.04 s on";
    EXPECT_THAT(Bytes(pictures[0].bytes.begin() + 19, pictures[0].bytes.begin() + 23),
                ElementsAre(0, 0, 1, 0xB3));
}

TEST(TableChange, BringsAServiceBackWithoutThePicturesBetween) {
    const Service second = TwoServices().services[1];
    StreamMaker maker(TwoServices());
    maker.At(500ms, [](Multiplex& multiplex) { multiplex.services.pop_back(); });
    maker.At(1500ms, [second](Multiplex& multiplex) { multiplex.services.push_back(second); });
    const PacketReader reader(maker.Make(2s));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0)), ElementsAre(0, 1, 2));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0x200)), ElementsAre(0));
    EXPECT_EQ(reader.PesOf(0x201).size(), 13U + 12);
    EXPECT_GT(SpanOf(reader, 0x200).second, 1.9);
}

TEST(TableChange, MovesTheMapOfAProgramToAnotherPidAtOnce) {
    StreamSettings settings;
    settings.pmtInterval = 900ms;
    StreamMaker maker(TwoServices(), settings);
    maker.At(1s, [](Multiplex& multiplex) { multiplex.ServiceOf(1).pmtPid = 0x110; });
    const PacketReader reader(maker.Make(2s));
    EXPECT_THAT(VersionsOf(reader.SectionsOf(0)), ElementsAre(0, 1));
    EXPECT_NEAR(SpanOf(reader, 0x110).first, 1.0, 0.01);
    EXPECT_LE(SpanOf(reader, 0x100).second, 1.0);
}

TEST(TableChange, MovesTheVideoToAnotherPid) {
    StreamMaker maker(TwoServices(VideoCodec::H264));
    maker.At(1090ms, [](Multiplex& multiplex) { multiplex.ServiceOf(1).videoPid = 0x111; });
    const PacketReader reader(maker.Make(2s));
    EXPECT_LE(SpanOf(reader, 0x101).second, 1.1);
    EXPECT_NEAR(SpanOf(reader, 0x111).first, 1.09, 0.02);
    ASSERT_THAT(reader.PesOf(0x111), testing::Not(IsEmpty()));
    std::uint64_t last = 0;
    for (const PacketReader::Unit& unit : reader.PesOf(0x101)) {
        last = std::max(last, PtsOf(unit.bytes));
    }
    EXPECT_GT(PtsOf(reader.PesOf(0x111)[0].bytes), last) << "no two pictures have one time";
    for (const PacketReader::Packet& packet : reader.Packets()) {
        if (packet.pid == 0x111 && packet.hasPayload) {
            EXPECT_TRUE(packet.randomAccess) << "the first picture";
            break;
        }
    }
    EXPECT_THAT(Payload(reader.SectionsOf(0x100).back().bytes),
                ElementsAre(0xE1, 0x11, 0xF0, 0, 0x1B, 0xE1, 0x11, 0xF0, 0));
}

// SPDX-License-Identifier: Apache-2.0

// The guide by itself, and behind the tables of a stream.

#include "ProgramGuide.h"

#include <gmock/gmock.h>

#include "SectionBuilder.h"
#include "StreamTables.h"
#include "TableSections.h"
#include "TsWriter.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using tvservice::Pat;
using tvservice::Pmt;
using tvservice::ProgramGuide;
using tvservice::Sdt;
using tvservice::Section;

constexpr std::uint8_t PRESENT_FOLLOWING = 0x4E;
constexpr std::uint8_t SCHEDULE = 0x50;

TSProgramEvent EventOf(std::uint16_t id, std::int64_t start = 1000, std::uint32_t duration = 100) {
    TSProgramEvent event;
    event.known = true;
    event.event_id = id;
    event.start = start;
    event.duration = duration;
    return event;
}

class ProgramGuideTest : public testing::Test {
protected:
    // What has been told since the last call: change and service, or change and event.
    std::vector<std::pair<int, int>> Told() {
        std::vector<std::pair<int, int>> told;
        for (const auto& [type, data] : notices) {
            told.emplace_back(type, data.service_id);
        }
        notices.clear();
        return told;
    }
    std::vector<std::pair<int, int>> ToldEvents() {
        std::vector<std::pair<int, int>> told;
        for (const auto& [type, data] : notices) {
            told.emplace_back(type, data.event.event_id);
        }
        notices.clear();
        return told;
    }
    void SetPat(const std::vector<Pat::Program>& programs, std::uint16_t stream = 1) {
        guide.SetPat({stream, 0, programs});
    }
    // Sections are told apart by their bytes: those of these events.
    void SetEit(std::uint8_t table, std::uint8_t number, const std::vector<TSProgramEvent>& events,
                std::uint16_t service = 5, std::uint16_t stream = 1) {
        const streammaker::Bytes bytes = SectionOf(table, number, events, service);
        if (guide.Wants(Section(bytes))) {
            guide.SetEit(Section(bytes), {table, service, stream, 2, number, events, 255, 0xFF});
        }
    }
    static streammaker::Bytes SectionOf(std::uint8_t table, std::uint8_t number,
                                        const std::vector<TSProgramEvent>& events,
                                        std::uint16_t service = 5) {
        streammaker::SectionBuilder builder;
        builder.tableId = table;
        builder.number = builder.lastNumber = number;
        builder.extension = service;
        for (const TSProgramEvent& event : events) {
            builder.payload.push_back(static_cast<std::uint8_t>(event.event_id));
            builder.payload.push_back(static_cast<std::uint8_t>(event.start));
        }
        return builder.Build();
    }
    std::vector<int> Ids(const std::vector<TCProgramData>& list) {
        std::vector<int> ids;
        for (const TCProgramData& data : list) {
            ids.push_back(data.event.event_id);
        }
        return ids;
    }

    std::vector<std::pair<EProgramChangeType, TCProgramData>> notices;
    ProgramGuide guide{[this](EProgramChangeType type, const TCProgramData& data) {
        notices.emplace_back(type, data);
    }};
};

TEST_F(ProgramGuideTest, TellsWhichProgramsComeAndGo) {
    SetPat({{5, 0x100}, {3, 0x101}});
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_APPEARED, 5), Pair(PROGRAM_APPEARED, 3)));
    SetPat({{5, 0x100}, {4, 0x102}});
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_GONE, 3), Pair(PROGRAM_APPEARED, 4)));
    SetPat({{5, 0x100}, {4, 0x102}});
    EXPECT_THAT(Told(), IsEmpty());
    SetPat({{5, 0x103}, {4, 0x102}});
    ASSERT_EQ(notices.size(), 1U);
    EXPECT_EQ(notices[0].second.pmt_pid, 0x103);
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_CHANGED, 5)));
    guide.Clear();
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_GONE, 4), Pair(PROGRAM_GONE, 5)));
    EXPECT_THAT(guide.Programs(), IsEmpty());
}

TEST_F(ProgramGuideTest, KnowsNoProgramOfTheStreamBefore) {
    SetPat({{5, 0x100}});
    SetEit(PRESENT_FOLLOWING, 0, {EventOf(7)});
    Told();
    SetPat({{5, 0x100}}, 2);
    ASSERT_EQ(notices.size(), 2U);
    EXPECT_EQ(notices[0].second.event.event_id, 7) << "the last that is known of it";
    EXPECT_EQ(notices[1].second.transport_stream_id, 2);
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_GONE, 5), Pair(PROGRAM_APPEARED, 5)));
    EXPECT_FALSE(guide.Programs().at(0).event.known);
}

TEST_F(ProgramGuideTest, TellsAMapThatIsAnotherOne) {
    SetPat({{5, 0x100}});
    Told();
    Pmt pmt;
    pmt.programNumber = 5;
    pmt.pcrPid = 0x200;
    pmt.streams = {{{0x200, 2, ""}, Pmt::Captions::None}};
    guide.SetPmt(0x101, pmt);
    EXPECT_THAT(Told(), IsEmpty()) << "on a PID that the PAT doesn't name";
    guide.SetPmt(0x100, pmt);
    ASSERT_EQ(notices.size(), 1U);
    EXPECT_EQ(notices[0].second.pcr_pid, 0x200);
    EXPECT_EQ(notices[0].second.components.size(), 1U);
    Told();
    pmt.version = 1;
    guide.SetPmt(0x100, pmt);
    EXPECT_THAT(Told(), IsEmpty()) << "nothing that is told has changed";
    pmt.streams.clear();
    guide.SetPmt(0x100, pmt);
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_CHANGED, 5)));
    EXPECT_THAT(guide.Programs().at(0).components, IsEmpty());
    pmt.programNumber = 6;
    guide.SetPmt(0x100, pmt);
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(ProgramGuideTest, TellsAServiceThatIsAnotherOne) {
    SetPat({{5, 0x100}});
    Told();
    Sdt sdt{1, 2, {{6, 1, "Six", "", RUNNING_NOW, true}, {5, 1, "Five", "P", RUNNING_NOW, false}}};
    guide.SetSdt(sdt);
    EXPECT_EQ(guide.Programs().at(0).service_name, "Five");
    EXPECT_EQ(guide.Programs().at(0).original_network_id, 2);
    EXPECT_FALSE(guide.Programs().at(0).free_to_air);
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_CHANGED, 5)));
    guide.SetSdt(sdt);
    EXPECT_THAT(Told(), IsEmpty());
    sdt.transportStreamId = 2;
    sdt.services[1].name = "Other";
    guide.SetSdt(sdt);
    EXPECT_THAT(Told(), IsEmpty()) << "of another stream";
}

TEST_F(ProgramGuideTest, TellsPresentAndFollowingWhereTheyChange) {
    SetPat({{5, 0x100}});
    Told();
    SetEit(PRESENT_FOLLOWING, 0, {EventOf(1), EventOf(9)}); // the first one counts
    SetEit(PRESENT_FOLLOWING, 1, {EventOf(2)});
    SetEit(PRESENT_FOLLOWING, 2, {EventOf(3)}); // there is no such section
    EXPECT_THAT(ToldEvents(),
                ElementsAre(Pair(PROGRAM_PRESENT_CHANGED, 1), Pair(PROGRAM_FOLLOWING_CHANGED, 2)));
    EXPECT_THAT(Ids(guide.PresentAndFollowing(0)), ElementsAre(1, 2));
    SetEit(PRESENT_FOLLOWING, 0, {EventOf(1)});
    EXPECT_THAT(ToldEvents(), IsEmpty()) << "another section with the same event";
    SetEit(PRESENT_FOLLOWING, 1, {});
    EXPECT_EQ(notices.size(), 1U);
    EXPECT_FALSE(notices[0].second.event.known);
    EXPECT_THAT(ToldEvents(), ElementsAre(Pair(PROGRAM_FOLLOWING_CHANGED, 0)));
    EXPECT_THAT(Ids(guide.PresentAndFollowing(0)), ElementsAre(1));
}

TEST_F(ProgramGuideTest, WantsSectionsThatAreNewAndOfAKnownProgram) {
    const auto wants = [this](const streammaker::Bytes& bytes) {
        return guide.Wants(Section(bytes));
    };
    const streammaker::Bytes section = SectionOf(PRESENT_FOLLOWING, 0, {EventOf(1)});
    EXPECT_FALSE(wants(section));
    SetPat({{5, 0x100}});
    EXPECT_TRUE(wants(section));
    SetEit(PRESENT_FOLLOWING, 0, {EventOf(1)});
    EXPECT_FALSE(wants(section));
    EXPECT_TRUE(wants(SectionOf(PRESENT_FOLLOWING, 0, {EventOf(2)})));
    EXPECT_TRUE(wants(SectionOf(PRESENT_FOLLOWING, 1, {EventOf(1)})));
    EXPECT_TRUE(wants(SectionOf(SCHEDULE, 0, {EventOf(1)})));
    EXPECT_FALSE(wants(SectionOf(SCHEDULE, 0, {EventOf(1)}, 6)));
    streammaker::Bytes wrong = SectionOf(SCHEDULE, 0, {EventOf(1)});
    wrong.back() ^= 1;
    EXPECT_FALSE(wants(wrong));
    streammaker::Bytes next = SectionOf(SCHEDULE, 0, {EventOf(1)});
    next[5] &= 0xFE; // current_next_indicator
    streammaker::RenewCrc(next);
    EXPECT_FALSE(wants(next));
    EXPECT_FALSE(wants({SCHEDULE, 0x70, 0x02, 0, 5}));
}

TEST_F(ProgramGuideTest, PassesOverEventsOfAnotherStream) {
    SetPat({{5, 0x100}});
    Told();
    SetEit(PRESENT_FOLLOWING, 0, {EventOf(1)}, 5, 9);
    SetEit(SCHEDULE, 0, {EventOf(1)}, 5, 9);
    EXPECT_THAT(ToldEvents(), IsEmpty());
    SetEit(PRESENT_FOLLOWING, 0, {EventOf(1)});
    EXPECT_THAT(ToldEvents(), ElementsAre(Pair(PROGRAM_PRESENT_CHANGED, 1)))
        << "the same bytes are taken later";
}

TEST_F(ProgramGuideTest, TellsTheEventsOfAScheduleThatAreNew) {
    SetPat({{5, 0x100}});
    Told();
    SetEit(SCHEDULE, 0, {EventOf(1, 10), EventOf(2, 20)});
    SetEit(SCHEDULE + 1, 0, {EventOf(3, 30)});
    EXPECT_THAT(ToldEvents(),
                ElementsAre(Pair(PROGRAM_SCHEDULE_CHANGED, 1), Pair(PROGRAM_SCHEDULE_CHANGED, 2),
                            Pair(PROGRAM_SCHEDULE_CHANGED, 3)));
    SetEit(SCHEDULE, 0, {EventOf(1, 10), EventOf(2, 21), EventOf(4, 5)});
    EXPECT_THAT(ToldEvents(),
                ElementsAre(Pair(PROGRAM_SCHEDULE_CHANGED, 2), Pair(PROGRAM_SCHEDULE_CHANGED, 4)));
    EXPECT_THAT(Ids(guide.Schedule(0, 0, 100)), ElementsAre(4, 1, 2, 3)) << "by their start";
}

TEST_F(ProgramGuideTest, ListsWhatIsOnAirInATime) {
    SetPat({{5, 0x100}});
    SetEit(SCHEDULE, 0,
           {EventOf(1, 100, 50), EventOf(2, 150, 50), EventOf(3, 200, 0), EventOf(4, -1, 50)});
    EXPECT_THAT(Ids(guide.Schedule(0, 149, 150)), ElementsAre(1));
    EXPECT_THAT(Ids(guide.Schedule(0, 150, 151)), ElementsAre(2));
    EXPECT_THAT(Ids(guide.Schedule(0, 0, 100)), IsEmpty());
    EXPECT_THAT(Ids(guide.Schedule(0, 0, 101)), ElementsAre(1));
    EXPECT_THAT(Ids(guide.Schedule(0, 200, 201)), ElementsAre(3)) << "for a second at least";
    EXPECT_THAT(Ids(guide.Schedule(0, 201, 500)), IsEmpty());
    EXPECT_THAT(Ids(guide.Schedule(0, 0, 500)), ElementsAre(1, 2, 3)) << "none without a start";
    EXPECT_THAT(Ids(guide.Schedule(6, 0, 500)), IsEmpty());
}

TEST_F(ProgramGuideTest, HoldsABoundedScheduleOfEachProgram) {
    SetPat({{5, 0x100}, {6, 0x101}});
    const std::vector<TSProgramEvent> many(1000, EventOf(1));
    for (std::uint8_t number = 0; number < 20; ++number) {
        SetEit(SCHEDULE, number, many);
    }
    EXPECT_EQ(guide.Schedule(0, 0, 5000).size(), 20000U);
    Told();
    SetEit(SCHEDULE, 20, {EventOf(2)});
    EXPECT_THAT(Told(), IsEmpty());
    SetEit(SCHEDULE, 3, {EventOf(2)}); // less than there was
    SetEit(SCHEDULE, 20, {EventOf(3)});
    EXPECT_THAT(ToldEvents(),
                ElementsAre(Pair(PROGRAM_SCHEDULE_CHANGED, 2), Pair(PROGRAM_SCHEDULE_CHANGED, 3)));
    SetEit(SCHEDULE, 0, {EventOf(4)}, 6);
    EXPECT_THAT(ToldEvents(), ElementsAre(Pair(PROGRAM_SCHEDULE_CHANGED, 4))) << "of its own";
}

TEST_F(ProgramGuideTest, MatchesKeysWhosePartsMayBeAny) {
    const unsigned long long key = MakeServiceKey(1, 2, 3);
    EXPECT_TRUE(MatchesServiceKey(0, key));
    EXPECT_TRUE(MatchesServiceKey(key, key));
    EXPECT_TRUE(MatchesServiceKey(MakeServiceKey(1, 0, 0), key));
    EXPECT_TRUE(MatchesServiceKey(MakeServiceKey(0, 2, 0), key));
    EXPECT_TRUE(MatchesServiceKey(MakeServiceKey(0, 0, 3), key));
    EXPECT_FALSE(MatchesServiceKey(MakeServiceKey(2, 2, 3), key));
    EXPECT_FALSE(MatchesServiceKey(MakeServiceKey(1, 3, 3), key));
    EXPECT_FALSE(MatchesServiceKey(MakeServiceKey(1, 2, 1), key));
}

// --- behind a stream's tables ---

class StreamTablesTest : public ProgramGuideTest, private tvservice::TableSink {
protected:
    void Push(std::uint16_t pid, const std::vector<streammaker::Bytes>& sections) {
        for (const streammaker::Bytes& section : sections) {
            writer.WriteSection(pid, section);
        }
        const streammaker::Bytes stream = writer.Take();
        for (std::size_t at = 0; at < stream.size(); at += streammaker::PACKET_SIZE) {
            demuxer.Push(std::span<const std::uint8_t, tvservice::PACKET_BYTES>(&stream[at], 188));
        }
    }
    static streammaker::Service ServiceOf(std::uint16_t id, std::uint16_t pmtPid) {
        streammaker::Service service;
        service.id = id;
        service.name = "Service";
        service.pmtPid = pmtPid;
        service.videoPid = static_cast<std::uint16_t>(0x100 + id);
        return service;
    }
    void PushPat(const streammaker::Multiplex& multiplex, std::uint8_t version = 0) {
        Push(streammaker::PAT_PID, PatSections(multiplex, version));
    }

    std::vector<int> pmts;
    std::vector<int> pats;
    std::vector<std::int64_t> times;
    streammaker::TsWriter writer;
    tvservice::Demuxer demuxer;
    tvservice::SectionRouter router{demuxer};
    tvservice::StreamTables tables{router, guide, *this};

private:
    void OnPat(const Pat& pat) override { pats.push_back(pat.version); }
    void OnPmt(std::uint16_t /*pid*/, const Pmt& pmt) override {
        pmts.push_back(pmt.programNumber);
    }
    void OnTime(const tvservice::StreamTime& time) override { times.push_back(time.utc); }
};

TEST_F(StreamTablesTest, TellMapsOfProgramsThatShareAPid) {
    const streammaker::Service one = ServiceOf(1, 0x1000);
    const streammaker::Service two = ServiceOf(2, 0x1000);
    streammaker::Multiplex multiplex;
    multiplex.services = {one, two};
    Push(0x1000, PmtSections(one));
    EXPECT_THAT(pmts, IsEmpty()) << "no PAT names them yet";
    PushPat(multiplex);
    Push(0x1000, PmtSections(one));
    Push(0x1000, PmtSections(two));
    Push(0x1000, PmtSections(ServiceOf(3, 0x1000)));
    EXPECT_THAT(pmts, ElementsAre(1, 2));
    ASSERT_NE(tables.LatestPmt(2), nullptr);
    EXPECT_EQ(tables.LatestPmt(2)->streams.at(0).component.pid, 0x102);
    EXPECT_EQ(tables.LatestPmt(3), nullptr);
}

TEST_F(StreamTablesTest, LookForTheMapOfAProgramWhereThePatSays) {
    streammaker::Multiplex multiplex;
    multiplex.services = {ServiceOf(1, 0x1000)};
    PushPat(multiplex);
    Push(0x1000, PmtSections(multiplex.services[0]));
    multiplex.services[0].pmtPid = 0x1001;
    PushPat(multiplex, 1);
    EXPECT_EQ(tables.LatestPmt(1), nullptr) << "the one of the other PID doesn't count any more";
    Push(0x1000, PmtSections(multiplex.services[0], 1));
    EXPECT_EQ(pmts.size(), 1U);
    Push(0x1001, PmtSections(multiplex.services[0], 1));
    EXPECT_EQ(pmts.size(), 2U);
    PushPat(multiplex, 2);
    EXPECT_NE(tables.LatestPmt(1), nullptr) << "where the PID is the same it stays";
    multiplex.services.clear();
    PushPat(multiplex, 3);
    EXPECT_EQ(tables.LatestPmt(1), nullptr);
}

TEST_F(StreamTablesTest, NameAProgramThatComesLater) {
    streammaker::Multiplex multiplex;
    multiplex.services = {ServiceOf(1, 0x1000), ServiceOf(2, 0x1001)};
    const auto names = SdtSections(multiplex);
    streammaker::Multiplex first = multiplex;
    first.services.pop_back();
    PushPat(first);
    Push(streammaker::SDT_PID, names);
    PushPat(multiplex, 1);
    Push(streammaker::SDT_PID, names);
    ASSERT_EQ(guide.Programs().size(), 2U);
    EXPECT_EQ(guide.Programs()[1].service_name, "Service") << "by the SDT that was there before";
}

TEST_F(StreamTablesTest, TakeOnlyTheStreamsOwnServicesAndEvents) {
    streammaker::Multiplex multiplex;
    multiplex.services = {ServiceOf(1, 0x1000)};
    multiplex.services[0].present = streammaker::Event();
    multiplex.services[0].present->id = 7;
    streammaker::Multiplex other = multiplex;
    other.transportStreamId = 9;
    Push(streammaker::SDT_PID, SdtSections(multiplex));
    PushPat(multiplex);
    Push(streammaker::SDT_PID, SdtSections(other));
    Push(streammaker::EIT_PID, PresentFollowingSections(other, other.services[0]));
    EXPECT_EQ(guide.Programs().at(0).service_name, "");
    EXPECT_FALSE(guide.Programs().at(0).event.known);
    // Table ids of other streams, whose bytes might be ours.
    std::vector<streammaker::Bytes> events =
        PresentFollowingSections(multiplex, multiplex.services[0]);
    const std::vector<streammaker::Bytes> right = events;
    for (streammaker::Bytes& section : events) {
        section[0] = 0x4F;
        streammaker::RenewCrc(section);
    }
    Push(streammaker::EIT_PID, events);
    EXPECT_FALSE(guide.Programs().at(0).event.known);
    Push(streammaker::EIT_PID, right);
    EXPECT_EQ(guide.Programs().at(0).event.event_id, 7);
}

TEST_F(StreamTablesTest, TellTheTimeWhereItIsWhole) {
    Push(streammaker::TDT_PID, {streammaker::TdtSection(1714593600)});
    EXPECT_THAT(times, ElementsAre(1714593600));
    streammaker::Bytes wrong{0x73, 0x70, 11, 0xC0, 0x79, 0x12, 0x45, 0, 0xF0, 0x00, 1, 2, 3, 4};
    Push(streammaker::TDT_PID, {wrong});
    EXPECT_EQ(times.size(), 1U);
    streammaker::RenewCrc(wrong);
    Push(streammaker::TDT_PID, {wrong});
    EXPECT_EQ(times.size(), 2U);
    wrong[0] = 0x72; // stuffing
    Push(streammaker::TDT_PID, {wrong});
    EXPECT_EQ(times.size(), 2U);
}

TEST_F(StreamTablesTest, KnowNothingOfTheStreamBeforeOnceTheyAreCleared) {
    streammaker::Multiplex multiplex;
    multiplex.services = {ServiceOf(1, 0x1000)};
    PushPat(multiplex);
    Push(0x1000, PmtSections(multiplex.services[0]));
    Told();
    tables.Clear();
    EXPECT_THAT(Told(), ElementsAre(Pair(PROGRAM_GONE, 1)));
    EXPECT_FALSE(tables.LatestPat());
    EXPECT_EQ(tables.LatestPmt(1), nullptr);
    Push(0x1000, PmtSections(multiplex.services[0], 1));
    EXPECT_EQ(pmts.size(), 1U);
    PushPat(multiplex);
    Push(0x1000, PmtSections(multiplex.services[0]));
    EXPECT_THAT(pats, ElementsAre(0, 0));
    EXPECT_EQ(pmts.size(), 2U);
}

} // namespace

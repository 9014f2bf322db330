// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "TestStream.h"

namespace {

using namespace std::chrono_literals;
using streammaker::Event;
using streammaker::Multiplex;
using streammaker::Service;
using streammaker::StreamMaker;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t START = 1714593600; // 2024-05-01 20:00:00 UTC

Event MakeEvent(std::uint16_t id, const std::string& name, std::int64_t start = START) {
    Event event;
    event.id = id;
    event.name = name;
    event.text = "About " + name;
    event.start = start;
    event.duration = 5400;
    event.runningStatus = RUNNING_NOW;
    return event;
}

class ProgramTest : public TestStream {
protected:
    ProgramTest() { Signals().SubscribeSignal(SIGNAL_END_OF_FILE, this, PROFILE_MAIN, 0); }

    int Subscribe(const TCProgramFilteringItem& filter = {}) {
        int id = -1;
        EXPECT_EQ(Programs().SubscribeProgram(filter, id), 1);
        return id;
    }
    int SubscribePF(unsigned long long list, ESubscribeType type, int param = 0) {
        int id = -1;
        EXPECT_EQ(Programs().SubscribeProgramListPF(param, list, type, id), 1);
        return id;
    }
    int SubscribeList(std::int64_t first, std::int64_t second, ESubscribeType type) {
        int id = -1;
        EXPECT_EQ(Programs().SubscribeProgramList(3, 0, static_cast<unsigned>(first),
                                                  static_cast<unsigned>(second), type, id),
                  1);
        return id;
    }

    std::vector<ReceivedProgram> Of(int id) {
        std::vector<ReceivedProgram> entries = programs.Now();
        std::erase_if(entries, [id](const ReceivedProgram& entry) { return entry.id != id; });
        return entries;
    }
    std::vector<ReceivedProgram> Of(int id, EProgramChangeType type) {
        std::vector<ReceivedProgram> entries = Of(id);
        std::erase_if(entries, [type](const ReceivedProgram& entry) { return entry.type != type; });
        return entries;
    }
};

MATCHER_P(IsAbout, name, "") {
    return arg.data.event.name == name;
}
MATCHER_P2(IsListed, type, name, "") {
    return arg.type == type && arg.data.event.name == name;
}

TEST_F(ProgramTest, PutsTheTablesTogether) {
    Service service = TestService(5, "Five");
    service.scrambled = true;
    service.components.push_back({0x333, 6, {streammaker::LanguageDescriptor("deu")}});
    service.present = MakeEvent(17, "Now");
    service.following = MakeEvent(18, "Next", START + 5400);
    const int id = Subscribe();
    Play(StreamMaker(TestMultiplex({service})).Make(3s));
    WaitForEnd();
    const TCProgramData data = Of(id).back().data;
    EXPECT_EQ(data.original_network_id, 0x22);
    EXPECT_EQ(data.transport_stream_id, 0x11);
    EXPECT_EQ(data.service_id, 5);
    EXPECT_EQ(data.ServiceKey(), MakeServiceKey(0x22, 0x11, 5));
    EXPECT_EQ(data.pmt_pid, 0x1005);
    EXPECT_EQ(data.pcr_pid, 0x105);
    ASSERT_EQ(data.components.size(), 2U);
    EXPECT_EQ(data.components[0].pid, 0x105);
    EXPECT_EQ(data.components[0].stream_type, 2);
    EXPECT_EQ(data.components[1].pid, 0x333);
    EXPECT_EQ(data.components[1].stream_type, 6);
    EXPECT_EQ(data.components[1].language, "deu");
    EXPECT_EQ(data.service_name, "Five");
    EXPECT_EQ(data.provider_name, "Hearth");
    EXPECT_EQ(data.service_type, 1);
    EXPECT_EQ(data.running_status, RUNNING_NOW);
    EXPECT_FALSE(data.free_to_air);

    const std::vector<ReceivedProgram> present = Of(id, PROGRAM_PRESENT_CHANGED);
    ASSERT_EQ(present.size(), 1U);
    const TSProgramEvent& event = present[0].data.event;
    EXPECT_TRUE(event.known);
    EXPECT_EQ(event.event_id, 17);
    EXPECT_EQ(event.start, START);
    EXPECT_EQ(event.duration, 5400U);
    EXPECT_EQ(event.running_status, RUNNING_NOW);
    EXPECT_TRUE(event.free_to_air);
    EXPECT_EQ(event.name, "Now");
    EXPECT_EQ(event.text, "About Now");
    EXPECT_EQ(event.language, "eng");
    EXPECT_THAT(Of(id, PROGRAM_FOLLOWING_CHANGED), ElementsAre(IsAbout("Next")));
    EXPECT_EQ(Of(id).front().type, PROGRAM_APPEARED);
    EXPECT_EQ(Of(id).front().param, 0);
}

TEST_F(ProgramTest, TellsEachChangeOnce) {
    Service one = TestService(1, "One");
    one.present = MakeEvent(1, "A");
    one.following = MakeEvent(2, "B");
    const int id = Subscribe();
    StreamMaker maker(TestMultiplex({one}));
    maker.At(1500ms, [](Multiplex& multiplex) {
        multiplex.services[0].present = MakeEvent(2, "B");
        multiplex.services[0].following = MakeEvent(3, "C");
    });
    maker.At(2s, [](Multiplex& multiplex) { multiplex.services.push_back(TestService(2, "Two")); });
    maker.At(2500ms, [](Multiplex& multiplex) { multiplex.services[0].name = "Uno"; });
    maker.At(3500ms,
             [](Multiplex& multiplex) { multiplex.services.erase(multiplex.services.begin()); });
    Play(maker.Make(5s));
    WaitForEnd();
    EXPECT_THAT(Of(id, PROGRAM_PRESENT_CHANGED), ElementsAre(IsAbout("A"), IsAbout("B")));
    EXPECT_THAT(Of(id, PROGRAM_FOLLOWING_CHANGED), ElementsAre(IsAbout("B"), IsAbout("C")));
    EXPECT_EQ(Of(id, PROGRAM_APPEARED).size(), 2U);
    const std::vector<ReceivedProgram> gone = Of(id, PROGRAM_GONE);
    ASSERT_EQ(gone.size(), 1U);
    EXPECT_EQ(gone[0].data.service_name, "Uno");
    std::vector<std::string> names;
    for (const ReceivedProgram& entry : Of(id, PROGRAM_CHANGED)) {
        names.push_back(entry.data.service_name);
    }
    EXPECT_THAT(names, testing::IsSupersetOf({"One", "Uno", "Two"}));
    EXPECT_EQ(std::count(names.begin(), names.end(), "Uno"), 1);
}

TEST_F(ProgramTest, TellsThatAnEventHasGone) {
    Service one = TestService(1, "One");
    one.present = MakeEvent(1, "A");
    one.following = MakeEvent(2, "B");
    const int id = Subscribe();
    StreamMaker maker(TestMultiplex({one}));
    maker.At(1s, [](Multiplex& multiplex) { multiplex.services[0].present.reset(); });
    Play(maker.Make(2s));
    WaitForEnd();
    const std::vector<ReceivedProgram> present = Of(id, PROGRAM_PRESENT_CHANGED);
    ASSERT_EQ(present.size(), 2U);
    EXPECT_TRUE(present[0].data.event.known);
    EXPECT_FALSE(present[1].data.event.known);
}

TEST_F(ProgramTest, BringsWhatTheFilterAsksFor) {
    Service one = TestService(1, "One");
    one.present = MakeEvent(1, "A");
    Service two = TestService(2, "Two");
    two.present = MakeEvent(2, "B");
    two.scrambled = true;
    TCProgramFilteringItem second;
    second.SetService(MakeServiceKey(0, 0x11, 2));
    const int ofSecond = Subscribe(second);
    TCProgramFilteringItem elsewhere;
    elsewhere.SetService(MakeServiceKey(0, 0x12, 2));
    const int ofOther = Subscribe(elsewhere);
    TCProgramFilteringItem present;
    present.AddChangeType(PROGRAM_PRESENT_CHANGED);
    present.AddChangeType(PROGRAM_GONE);
    const int ofPresent = Subscribe(present);
    Play(StreamMaker(TestMultiplex({one, two})).Make(2s));
    WaitForEnd();
    EXPECT_FALSE(Of(ofSecond).empty());
    for (const ReceivedProgram& entry : Of(ofSecond)) {
        EXPECT_EQ(entry.data.service_id, 2);
    }
    EXPECT_THAT(Of(ofOther), IsEmpty());
    EXPECT_THAT(Of(ofPresent), ElementsAre(IsAbout("A"), IsAbout("B")));
    // Once the stream is known, a new subscriber hears of it at once.
    TCProgramFilteringItem free;
    free.SetFreeToAirOnly(true);
    const int ofFree = Subscribe(free);
    const int ofAll = Subscribe();
    programs.Wait([ofAll](const auto& entries) {
        return std::count_if(entries.begin(), entries.end(), [ofAll](const ReceivedProgram& entry) {
                   return entry.id == ofAll;
               }) == 2;
    });
    ASSERT_EQ(Of(ofFree).size(), 1U);
    EXPECT_EQ(Of(ofFree)[0].type, PROGRAM_APPEARED);
    EXPECT_EQ(Of(ofFree)[0].data.service_name, "One");
    EXPECT_EQ(Of(ofFree)[0].data.event.name, "A") << "with its present event";
}

TEST_F(ProgramTest, ListsPresentAndFollowing) {
    Service one = TestService(1, "One");
    one.present = MakeEvent(1, "A");
    one.following = MakeEvent(2, "B");
    Service two = TestService(2, "Two");
    two.present = MakeEvent(3, "C");
    const int changes = SubscribePF(0, SUBSCRIBE_CHANGES, 11);
    Play(StreamMaker(TestMultiplex({one, two})).Make(2s));
    WaitForEnd();
    EXPECT_EQ(Of(changes, PROGRAM_LIST_END).size(), 0U);
    EXPECT_THAT(Of(changes, PROGRAM_PRESENT_CHANGED), ElementsAre(IsAbout("A"), IsAbout("C")));
    EXPECT_EQ(Of(changes)[0].param, 11);
    const int once = SubscribePF(MakeServiceKey(0x22, 0x11, 1), SUBSCRIBE_ONCE, 12);
    const int both = SubscribePF(0, SUBSCRIBE_BOTH, 13);
    programs.Wait([both](const auto& entries) {
        return !entries.empty() && entries.back().id == both &&
               entries.back().type == PROGRAM_LIST_END;
    });
    EXPECT_THAT(Of(once), ElementsAre(IsListed(PROGRAM_LISTED, "A"), IsListed(PROGRAM_LISTED, "B"),
                                      IsListed(PROGRAM_LIST_END, "")));
    EXPECT_THAT(Of(both),
                ElementsAre(IsListed(PROGRAM_LISTED, "A"), IsListed(PROGRAM_LISTED, "B"),
                            IsListed(PROGRAM_LISTED, "C"), IsListed(PROGRAM_LIST_END, "")));
    EXPECT_EQ(Of(both)[0].param, 13);
    EXPECT_EQ(Programs().UnsubscribeProgram(once), 0) << "it has ended by itself";
    EXPECT_EQ(Programs().UnsubscribeProgram(both), 1);
    EXPECT_EQ(Programs().UnsubscribeProgram(both), 0);
}

TEST_F(ProgramTest, ListsTheScheduleOfATimeInItsOrder) {
    Service one = TestService(1, "One");
    one.schedule = {MakeEvent(1, "Before", START - 5400), MakeEvent(2, "First", START - 60),
                    MakeEvent(3, "Second", START + 5340), MakeEvent(4, "After", START + 10740)};
    const int changes = SubscribeList(START, START + 10740, SUBSCRIBE_BOTH);
    Play(StreamMaker(TestMultiplex({one})).Make(2s));
    WaitForEnd();
    EXPECT_THAT(Of(changes, PROGRAM_SCHEDULE_CHANGED),
                testing::UnorderedElementsAre(IsAbout("First"), IsAbout("Second")));
    const int once = SubscribeList(START, START + 10740, SUBSCRIBE_ONCE);
    programs.Wait([once](const auto& entries) {
        return !entries.empty() && entries.back().id == once &&
               entries.back().type == PROGRAM_LIST_END;
    });
    EXPECT_THAT(Of(once),
                ElementsAre(IsListed(PROGRAM_LISTED, "First"), IsListed(PROGRAM_LISTED, "Second"),
                            IsListed(PROGRAM_LIST_END, "")));
    EXPECT_EQ(Of(once)[0].param, 3);
}

TEST_F(ProgramTest, RefusesAListThatCannotBe) {
    int id = 42;
    EXPECT_EQ(Programs().SubscribeProgramList(0, 0, 10, 10, SUBSCRIBE_BOTH, id), 0);
    EXPECT_EQ(Programs().SubscribeProgramList(0, 0, 10, 20, static_cast<ESubscribeType>(3), id), 0);
    EXPECT_EQ(Programs().SubscribeProgramListPF(0, 0, static_cast<ESubscribeType>(-1), id), 0);
    EXPECT_EQ(id, 42);
}

TEST_F(ProgramTest, ReadsNamesInTheirCharacterTable) {
    Service one = TestService(1, "");
    one.name = streammaker::SiText::Raw("Caf\xC2"
                                        "e \xA4"
                                        "5"); // the default table
    one.provider = streammaker::SiText::Raw({"\x10\x00\x02\xA3\xF3"
                                             "d\x9F\x7F",
                                             8}); // 8859-2
    Service two = TestService(2, "");
    two.name = streammaker::SiText::Raw("\x01\xBF\xE0\xD8\x8A\xD2"); // 8859-5, line break
    two.provider = streammaker::SiText::Raw("\x15\xE2\x82\xAC");     // UTF-8
    const int id = Subscribe();
    Play(StreamMaker(TestMultiplex({one, two})).Make(2s));
    WaitForEnd();
    std::map<int, TCProgramData> last;
    for (const ReceivedProgram& entry : Of(id)) {
        last[entry.data.service_id] = entry.data;
    }
    EXPECT_EQ(last[1].service_name, "Café €5");
    EXPECT_EQ(last[1].provider_name, "Łód");
    EXPECT_EQ(last[2].service_name, "При\nв");
    EXPECT_EQ(last[2].provider_name, "€");
}

} // namespace

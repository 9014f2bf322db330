// SPDX-License-Identifier: Apache-2.0
#include <hearthd/TestDevice.h>

#include <cstdlib>
#include <filesystem>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include <hearthd/HostedService.h>
#include <hearthd/KeyEventProxy.h>
#include <hearthd/TVSCaptionEventProxy.h>
#include <hearthd/TVSEventProxy.h>
#include <hearthd/TVSPESEventProxy.h>
#include <hearthd/TVSProgramEventProxy.h>
#include <hearthd/TVSSectionEventProxy.h>
#include <hearthd/VConfEventProxy.h>

#include "LambdaService.h"
#include "RecordingListener.h"
#include "WaitUntil.h"

namespace {

using namespace hearthd::testing;
using namespace marrow::evt;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

using Bytes = std::vector<unsigned char>;

// Tables in the short form have no CRC_32.
const Bytes TIME_TABLE{0x70, 0x70, 0x05, 1, 2, 3, 4, 5};
constexpr unsigned short TIME_PID = 0x14;

// A service that subscribes at its start, with a listener on its own worker.
template <typename T>
class TestDevice : public testing::Test {
protected:
    void Start(std::function<void()> subscribe, std::function<void()> unsubscribe) {
        const auto always = [](std::function<void()> work) {
            return [work] {
                work();
                return true;
            };
        };
        host = std::make_unique<LambdaHost>(
            "listening", Work{.start = always(subscribe), .stop = always(unsubscribe)});
        ASSERT_TRUE(host->service.Start());
    }
    // Its stop still looks at what derived fixtures have.
    void TearDown() override { host.reset(); }
    bool Came(std::size_t count) {
        return WaitUntil([&] { return listener.Count() >= count; });
    }
    void ExpectOnTheWorker() {
        EXPECT_THAT(listener.Threads(), Each("listening_threa")); // as long as a name can be
    }

    RecordingListener<T> listener{"listening"};
    std::unique_ptr<LambdaHost> host;
};

// --- keys ---

using Keys = TestDevice<key_event_arg_t>;

TEST_F(Keys, ComeToTheServiceThatHasThem) {
    Start(
        [&] {
            KeyEventProxy::Get().Subscribe(&listener, {"Up", "XF86Red"});
        },
        [&] { KeyEventProxy::Get().Unsubscribe(&listener); });
    EXPECT_TRUE(PressKey("XF86Red"));
    EXPECT_TRUE(ReleaseKey("XF86Red"));
    EXPECT_TRUE(PressKey("Up"));
    EXPECT_FALSE(PressKey("Down"));
    ASSERT_TRUE(Came(3));
    std::vector<std::string> keys;
    for (const key_event_arg_t& event : listener.Events()) {
        keys.push_back(event.keyname + (event.type == 0 ? " down" : " up"));
    }
    EXPECT_THAT(keys, ElementsAre("XF86Red down", "XF86Red up", "Up down"));
    ExpectOnTheWorker();
}

TEST_F(Keys, GoToNobodyAfterTheStop) {
    Start([&] { KeyEventProxy::Get().Subscribe(&listener, {"Up"}); },
          [&] { KeyEventProxy::Get().Unsubscribe(&listener); });
    EXPECT_TRUE(PressKey("Up"));
    ASSERT_TRUE(Came(1));
    ASSERT_TRUE(host->service.Stop());
    EXPECT_FALSE(PressKey("Up"));
}

// --- configuration ---

using Configuration = TestDevice<VConfData>;

TEST_F(Configuration, ChangesForTheServiceThatListens) {
    VConfEventProxy& configuration = VConfEventProxy::GetInstance();
    Start([&] { configuration.Subscribe("db/test/name", &listener); },
          [&] { configuration.Unsubscribe("db/test/name", &listener); });
    EXPECT_TRUE(SetConfiguration("db/test/name", "Ann"));
    ASSERT_TRUE(Came(1));
    EXPECT_TRUE(SetConfiguration("db/test/other", 1));
    EXPECT_TRUE(SetConfiguration("db/test/name", 7));
    ASSERT_TRUE(Came(2));
    EXPECT_THAT(listener.Events(), SizeIs(2));
    EXPECT_EQ(static_cast<std::string>(listener.Events()[0]), "Ann");
    EXPECT_EQ(static_cast<int>(listener.Events()[1]), 7);
    ExpectOnTheWorker();
}

TEST_F(Configuration, HasValuesOfEveryType) {
    Start([] {}, [] {});
    EXPECT_TRUE(SetConfiguration("db/test/bool", true));
    EXPECT_TRUE(SetConfiguration("db/test/double", 0.5));
    EXPECT_FALSE(SetConfiguration("db//test", 1)) << "that is no key";
    bool truth = false;
    double number = 0;
    EXPECT_TRUE(VConfEventProxy::GetInstance().GetValue("db/test/bool", truth));
    EXPECT_TRUE(VConfEventProxy::GetInstance().GetValue("db/test/double", number));
    EXPECT_TRUE(truth);
    EXPECT_EQ(number, 0.5);
}

TEST_F(Configuration, LiesInAFileOfTheProcess) {
    Start([] {}, [] {});
    ASSERT_NE(std::getenv("VCONF_DATABASE"), nullptr);
    const std::filesystem::path store = std::getenv("VCONF_DATABASE");
    ASSERT_TRUE(SetConfiguration("db/test/here", 1));
    EXPECT_TRUE(std::filesystem::exists(store));
    EXPECT_EQ(store.parent_path().parent_path(), std::filesystem::temp_directory_path());
}

// A main loop that is slow to ask the platform.
void DelayMainLoop() {
    const GSourceFunc sleep = [](void* /*unused*/) {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return 0;
    };
    g_main_context_invoke(nullptr, sleep, nullptr);
}

TEST_F(Configuration, IsListenedToOnceTheServiceHasStarted) {
    VConfEventProxy& configuration = VConfEventProxy::GetInstance();
    Start(
        [&] {
            DelayMainLoop();
            configuration.Subscribe("db/test/early", &listener);
        },
        [&] { configuration.Unsubscribe("db/test/early", &listener); });
    EXPECT_TRUE(configuration.SetValue("db/test/early", 1));
    EXPECT_TRUE(Came(1));
}

TEST_F(Configuration, IsListenedToBeforeAKeyChangesIt) {
    RecordingListener<key_event_arg_t> keys("listening");
    keys.onEvent = [] { VConfEventProxy::GetInstance().SetValue("db/test/key", 1); };
    VConfEventProxy& configuration = VConfEventProxy::GetInstance();
    Start([&] { KeyEventProxy::Get().Subscribe(&keys, {"Up"}); },
          [&] {
              KeyEventProxy::Get().Unsubscribe(&keys);
              configuration.Unsubscribe("db/test/key", &listener);
          });
    DelayMainLoop();
    configuration.Subscribe("db/test/key", &listener);
    EXPECT_TRUE(PressKey("Up"));
    EXPECT_TRUE(Came(1));
    host.reset(); // its stop looks at `keys`
}

// --- television ---

using Signals = TestDevice<tvs_event_args_t>;

TEST_F(Signals, ComeToTheirSubscribers) {
    TVSEventProxy& signals = TVSEventProxy::Get();
    Start([&] { signals.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &listener); },
          [&] { signals.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &listener); });
    EXPECT_TRUE(SendSignal(SIGNAL_TIME, PROFILE_MAIN, 0, {1714593600, 7200}));
    EXPECT_FALSE(SendSignal(SIGNAL_TIME, PROFILE_MAIN, 1, {}));
    EXPECT_FALSE(SendSignal(SIGNAL_PAT_CHANGED, PROFILE_MAIN, 0, {}));
    ASSERT_THAT(listener.Events(), SizeIs(1));
    EXPECT_EQ(listener.Events()[0].data.value, 1714593600U);
    EXPECT_EQ(listener.Events()[0].data.extra, 7200U);
    ExpectOnTheWorker();
    ASSERT_TRUE(host->service.Stop());
    EXPECT_FALSE(SendSignal(SIGNAL_TIME, PROFILE_MAIN, 0, {}));
}

class Sections : public TestDevice<tvs_section_event_arg_t> {
protected:
    void Start(const TCSectionCriteriaHelper& criteria) {
        TestDevice::Start(
            [=, this] {
                EXPECT_TRUE(TVSSectionEventProxy::Get().Subscribe(criteria, &listener, m_id));
            },
            [this] { EXPECT_TRUE(TVSSectionEventProxy::Get().Unsubscribe(m_id)); });
    }
    int m_id = -1;
};

TEST_F(Sections, ComeThroughTheFiltersThatTheyMatch) {
    Start(TCSectionCriteriaHelper(TIME_PID, 0x70));
    EXPECT_EQ(SendSection(TIME_PID, TIME_TABLE), 1);
    EXPECT_EQ(SendSection(TIME_PID + 1, TIME_TABLE), 0) << "another PID";
    EXPECT_EQ(SendSection(TIME_PID, {0x73, 0x70, 0x01, 0}), 0) << "another table";
    EXPECT_EQ(SendSection(TIME_PID, {0x70, 0x70, 0x05, 1}), 0) << "not all of it";
    ASSERT_THAT(listener.Events(), SizeIs(1));
    const tvs_section_event_arg_t& event = listener.Events()[0];
    EXPECT_TRUE(event.flag);
    EXPECT_EQ(event.subscriber_id, m_id);
    EXPECT_EQ(Bytes(event.data.get(), event.data.get() + event.size), TIME_TABLE);
    ExpectOnTheWorker();
    ASSERT_TRUE(host->service.Stop());
    EXPECT_EQ(SendSection(TIME_PID, TIME_TABLE), 0);
}

TEST_F(Sections, WithAWrongSumComeWhereNobodyLooksAtIt) {
    const Bytes wrong{0x42, 0xF0, 0x0D, 0, 1, 0xC1, 0, 0, 9, 9, 9, 9, 0, 0, 0, 0};
    TCSectionCriteriaHelper unchecked(0x11);
    unchecked.SetCrcCheck(false);
    Start(unchecked);
    EXPECT_EQ(SendSection(0x11, wrong), 1);
    ASSERT_THAT(listener.Events(), SizeIs(1));
    EXPECT_FALSE(listener.Events()[0].flag);
    int checkedId = -1;
    ASSERT_TRUE(
        TVSSectionEventProxy::Get().Subscribe(TCSectionCriteriaHelper(0x11), &listener, checkedId));
    EXPECT_EQ(SendSection(0x11, wrong), 1) << "not to the one that looks";
    EXPECT_TRUE(TVSSectionEventProxy::Get().Unsubscribe(checkedId));
}

TEST_F(Sections, AreNewOnceWhereOnlyChangesAreWanted) {
    TCSectionCriteriaHelper changes(TIME_PID);
    changes.SetOnChangeOnly(true);
    Start(changes);
    EXPECT_EQ(SendSection(TIME_PID, TIME_TABLE), 1);
    EXPECT_EQ(SendSection(TIME_PID, TIME_TABLE), 0);
    Bytes other = TIME_TABLE;
    other.back() = 6;
    EXPECT_EQ(SendSection(TIME_PID, other), 1);
}

class Programs : public TestDevice<tvs_program_event_arg_t> {
protected:
    static TCProgramData Program(std::uint16_t service) {
        TCProgramData program;
        program.transport_stream_id = 7;
        program.service_id = service;
        program.event.known = true;
        program.event.start = 1000;
        program.event.duration = 100;
        return program;
    }
    // The changes that have come for the subscription.
    std::vector<int> ChangesFor(int id) {
        std::vector<int> changes;
        for (const tvs_program_event_arg_t& event : listener.Events()) {
            if (event.subscriber_id == id) {
                changes.push_back(event.change_type);
            }
        }
        return changes;
    }
    void Unsubscribe() {
        programs.Unsubscribe(one);
        programs.Unsubscribe(two);
    }
    TVSProgramEventProxy& programs = TVSProgramEventProxy::Get();
    int one = -1;
    int two = -1;
};

TEST_F(Programs, ComeToTheFiltersThatWantThem) {
    TCProgramFilteringItem filter;
    filter.SetService(MakeServiceKey(0, 0, 3));
    filter.AddChangeType(PROGRAM_PRESENT_CHANGED);
    filter.SetFreeToAirOnly(true);
    Start([&] { EXPECT_TRUE(programs.Subscribe(&listener, filter, one)); },
          [&] { programs.Unsubscribe(one); });
    TCProgramData wanted = Program(3);
    wanted.event.name = "The news";
    EXPECT_EQ(SendProgram(PROGRAM_PRESENT_CHANGED, wanted), 1);
    EXPECT_EQ(SendProgram(PROGRAM_PRESENT_CHANGED, Program(4)), 0) << "another service";
    EXPECT_EQ(SendProgram(PROGRAM_PRESENT_CHANGED, Program(0)), 1) << "which, isn't known yet";
    EXPECT_EQ(SendProgram(PROGRAM_GONE, wanted), 0) << "another change";
    EXPECT_EQ(SendProgram(PROGRAM_LISTED, wanted), 0) << "nobody's list";
    wanted.free_to_air = false;
    EXPECT_EQ(SendProgram(PROGRAM_PRESENT_CHANGED, wanted), 0);
    ASSERT_THAT(listener.Events(), SizeIs(2));
    EXPECT_EQ(listener.Events()[0].program->event.name, "The news");
    ExpectOnTheWorker();
}

TEST_F(Programs, AreListedOnceOrChange) {
    const auto subscribe = [&] {
        EXPECT_TRUE(programs.SubscribeListPF(&listener, 0, SUBSCRIBE_ONCE, 1, one));
        EXPECT_TRUE(programs.SubscribeListPF(&listener, 0, SUBSCRIBE_CHANGES, 2, two));
    };
    Start(subscribe, [&] { Unsubscribe(); });
    for (int time = 0; time < 2; ++time) {
        SendProgram(PROGRAM_LISTED, Program(3));
        SendProgram(PROGRAM_LIST_END, {});
        SendProgram(PROGRAM_FOLLOWING_CHANGED, Program(3));
        SendProgram(PROGRAM_SCHEDULE_CHANGED, Program(3));
    }
    EXPECT_THAT(ChangesFor(one), ElementsAre(PROGRAM_LISTED, PROGRAM_LIST_END));
    EXPECT_THAT(ChangesFor(two), ElementsAre(PROGRAM_FOLLOWING_CHANGED, PROGRAM_FOLLOWING_CHANGED));
    EXPECT_EQ(listener.Events()[0].param, 1);
}

TEST_F(Programs, AreInAScheduleByTheirTime) {
    const auto subscribe = [&] {
        EXPECT_TRUE(programs.SubscribeList(&listener, 0, 1099, 1200, SUBSCRIBE_BOTH, 5, one));
        EXPECT_TRUE(programs.SubscribeList(&listener, 0, 1100, 1200, SUBSCRIBE_BOTH, 5, two));
    };
    Start(subscribe, [&] { Unsubscribe(); });
    SendProgram(PROGRAM_LISTED, Program(3));
    SendProgram(PROGRAM_SCHEDULE_CHANGED, Program(3));
    SendProgram(PROGRAM_PRESENT_CHANGED, Program(3));
    EXPECT_THAT(ChangesFor(one), ElementsAre(PROGRAM_LISTED, PROGRAM_SCHEDULE_CHANGED));
    EXPECT_THAT(ChangesFor(two), ElementsAre()) << "it ends at 1100";
    TCProgramData unknown = Program(3);
    unknown.event.known = false;
    EXPECT_EQ(SendProgram(PROGRAM_SCHEDULE_CHANGED, unknown), 0);
    int none = -1;
    EXPECT_FALSE(programs.SubscribeList(&listener, 0, 7, 7, SUBSCRIBE_BOTH, 5, none));
}

using Captions = TestDevice<TSCaption>;

TEST_F(Captions, ComeToTheirListener) {
    TVSCaptionEventProxy& captions = TVSCaptionEventProxy::Get();
    TSCaption caption;
    caption.word_a = CAPTION_CC_DATA;
    caption.bytes = {1, 2, 3};
    EXPECT_FALSE(SendCaption(caption));
    Start([&] { EXPECT_TRUE(captions.Subscribe(&listener)); },
          [&] { captions.Unsubscribe(&listener); });
    EXPECT_TRUE(SendCaption(caption));
    ASSERT_THAT(listener.Events(), SizeIs(1));
    EXPECT_EQ(listener.Events()[0].word_a, CAPTION_CC_DATA);
    EXPECT_EQ(listener.Events()[0].bytes, (Bytes{1, 2, 3}));
    ExpectOnTheWorker();
    ASSERT_TRUE(host->service.Stop());
    EXPECT_FALSE(SendCaption(caption));
}

using Packets = TestDevice<tvs_pes_event_arg_t>;

TEST_F(Packets, ComeToTheirListeners) {
    TVSPESEventProxy& packets = TVSPESEventProxy::Get();
    Start([&] { packets.Subscribe(&listener); }, [&] { packets.Unsubscribe(&listener); });
    TSPESData packet;
    packet.short_b = 0x101;
    packet.bytes = {0, 0, 1, 0xE0};
    EXPECT_TRUE(SendPes(packet));
    ASSERT_THAT(listener.Events(), SizeIs(1));
    const tvs_pes_event_arg_t& event = listener.Events()[0];
    EXPECT_EQ(event.short_b, 0x101);
    EXPECT_EQ(Bytes(event.data.get(), event.data.get() + event.size), packet.bytes);
    ExpectOnTheWorker();
    ASSERT_TRUE(host->service.Stop());
    EXPECT_FALSE(SendPes(packet));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "TVSEventProxy.h"

#include <algorithm>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <type_traits>

#include "DeathTest.h"
#include "PrivateMember.h"
#include "ProxyTools.h"
#include "RecordingListener.h"
#include "RunMainLoop.h"

namespace {

using marrow::evt::tvs_event_args_t;
using marrow::evt::tvs_event_t;
using marrow::evt::TVSEventProxy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Manager = marrow::evt::SubscriptionManager<tvs_event_t, tvs_event_args_t>;
using Table = std::map<tvs_event_t, std::vector<Manager::IListener*>>;
using Listener = RecordingListener<tvs_event_args_t>;

constexpr TSSignalData DATA{0x01020304, 0xFFFFFFFE};

struct Subscribers : PrivateMember<Subscribers, Table Manager::*> {};
struct Subscriber : PrivateMember<Subscriber, ISignalSubscriber * TVSEventProxy::*> {};

ESignalType Signal(int value) {
    return static_cast<ESignalType>(value);
}

tvs_event_t Key(int signal, int profile, unsigned short screen) {
    return {static_cast<EProfile>(profile), screen, Signal(signal)};
}

} // namespace

template struct ExposeMember<Subscribers, &Manager::m_subscribers>;
template struct ExposeMember<Subscriber, &TVSEventProxy::m_subscriber>;

namespace {

TEST(TVSEvent, IsOrderedBySignalThenProfileThenScreen) {
    EXPECT_TRUE(Key(1, 9, 9) < Key(2, 1, 1)) << "whatever profile and screen are";
    EXPECT_FALSE(Key(2, 1, 1) < Key(1, 9, 9));
    EXPECT_TRUE(Key(1, 1, 9) < Key(1, 2, 1)) << "whatever the screen is";
    EXPECT_FALSE(Key(1, 2, 1) < Key(1, 1, 9));
    EXPECT_TRUE(Key(1, 1, 1) < Key(1, 1, 2));
    EXPECT_FALSE(Key(1, 1, 2) < Key(1, 1, 1));
    EXPECT_FALSE(Key(1, 1, 1) < Key(1, 1, 1));
}

TEST(TVSEvent, ComparesSignalAndProfileSignedAndTheScreenUnsigned) {
    EXPECT_TRUE(Key(-1, 0, 0) < Key(1, 0, 0));
    EXPECT_TRUE(Key(0, -1, 0) < Key(0, 1, 0));
    EXPECT_TRUE(Key(0, 0, 1) < Key(0, 0, 65535));
    EXPECT_FALSE(Key(0, 0, 65535) < Key(0, 0, 1));
}

TEST(TVSEvent, EqualsAnotherInAllThreeFieldsOnly) {
    EXPECT_TRUE(Key(1, 2, 3) == Key(1, 2, 3));
    EXPECT_FALSE(Key(0, 2, 3) == Key(1, 2, 3));
    EXPECT_FALSE(Key(1, 0, 3) == Key(1, 2, 3));
    EXPECT_FALSE(Key(1, 2, 0) == Key(1, 2, 3));
    const std::set<tvs_event_t> keys = {Key(1, 2, 3), Key(1, 2, 3), Key(1, 2, 4), Key(1, 3, 3),
                                        Key(2, 2, 3)};
    EXPECT_THAT(keys, SizeIs(4));
}

// The test's thread is the main thread: it owns the default context, and runs what is queued there
// when the test says so.
class TVSEventProxyTest : public testing::Test {
protected:
    TVSEventProxyTest() {
        EXPECT_TRUE(g_main_context_acquire(nullptr));
        fake.Reset();
        Table().clear();
        LogCapture::Clear();
    }
    ~TVSEventProxyTest() override {
        RunMainLoop();
        g_main_context_release(nullptr);
        Table().clear();
    }

    static void OnAnotherThread(const std::function<void()>& work) { std::thread(work).join(); }
    ::Table& Table() { return proxy.*MemberOf(Subscribers()); }

    FakeTVService& fake = FakeTVService::Get();
    TVSEventProxy& proxy = TVSEventProxy::Get();
    Listener one{"one"};
    Listener two{"two"};
};

TEST_F(TVSEventProxyTest, IsOneObjectForTheProcess) {
    EXPECT_EQ(&TVSEventProxy::Get(), &proxy);
    EXPECT_FALSE(std::is_default_constructible_v<TVSEventProxy>);
}

TEST_F(TVSEventProxyTest, AsksThePlatformForTheFirstListenerOfAKey) {
    const std::string line = "Subscribe for 5 [profile 2, screen 65535] to the platform";
    int said = 0;
    fake.InsideNextCall([&] { said = LogCapture::Count(DLOG_DEBUG, line); });
    proxy.Subscribe(SIGNAL_TIME, PROFILE_PIP, 65535, &one);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSignal 5 2 65535"));
    EXPECT_EQ(fake.User(), &proxy);
    EXPECT_EQ(said, 1) << "ahead of the call";
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, line), 1);
    proxy.Subscribe(SIGNAL_TIME, PROFILE_PIP, 65535, &two);
    EXPECT_THAT(fake.Calls(), SizeIs(1));
}

TEST_F(TVSEventProxyTest, TellsThePlatformWhenTheLastListenerOfAKeyHasGone) {
    proxy.Subscribe(SIGNAL_TIME, PROFILE_PIP, 7, &one);
    proxy.Subscribe(SIGNAL_TIME, PROFILE_PIP, 7, &two);
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_PIP, 7, &one);
    EXPECT_THAT(fake.Calls(), SizeIs(1));
    const std::string line =
        "No subscribers for 5 [profile 2, screen 7]. Unsubscribe from platform.";
    int said = 0;
    fake.InsideNextCall([&] { said = LogCapture::Count(DLOG_DEBUG, line); });
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_PIP, 7, &two);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSignal 5 2 7", "UnsubscribeSignal 5 2 7"));
    EXPECT_EQ(said, 1) << "ahead of the call";
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, line), 1);
}

TEST_F(TVSEventProxyTest, TellsThePlatformOfAKeyThatNobodyEverWanted) {
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 3, &one);
    EXPECT_THAT(fake.Calls(), ElementsAre("UnsubscribeSignal 5 1 3"));
    ASSERT_EQ(Table().count(Key(5, 1, 3)), 1U);
    EXPECT_THAT(Table()[Key(5, 1, 3)], IsEmpty());
}

TEST_F(TVSEventProxyTest, KeepsScreensApart) {
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 1, &one);
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 2, &two);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSignal 5 1 1", "SubscribeSignal 5 1 2"));
    EXPECT_THAT(Table(), SizeIs(2));
    fake.Signal(SIGNAL_TIME, PROFILE_MAIN, 2, DATA);
    EXPECT_THAT(one.Events(), IsEmpty());
    EXPECT_THAT(two.Events(), SizeIs(1));
}

TEST_F(TVSEventProxyTest, AsksThePlatformOnTheMainThreadInTheOrderOfTheCalls) {
    std::vector<pid_t> threads;
    OnAnotherThread([&] {
        proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
        proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
        proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 1, &one);
    });
    EXPECT_THAT(fake.Calls(), IsEmpty()) << "the caller's thread asks nothing";
    fake.InsideNextCall([&] { threads.push_back(ThisThread()); });
    RunMainLoop();
    EXPECT_THAT(threads, ElementsAre(ThisThread()));
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSignal 5 1 0", "UnsubscribeSignal 5 1 0",
                                          "SubscribeSignal 5 1 1"));
}

TEST_F(TVSEventProxyTest, AnswersWhetherThePlatformHasSaidOne) {
    for (const int answer : {-1, 0, 1, 2}) {
        fake.Answer("SubscribeSignal", answer);
        fake.Answer("UnsubscribeSignal", answer);
        EXPECT_EQ(proxy.OnFirstSubCb(Key(1, 1, 0)), answer == 1) << answer;
        EXPECT_EQ(proxy.OnLastUnsubCb(Key(1, 1, 0)), answer == 1) << answer;
    }
}

TEST_F(TVSEventProxyTest, LeavesAListenerSubscribedAndSilentWhereThePlatformRefuses) {
    fake.Answer("SubscribeSignal", 0);
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &two);
    EXPECT_THAT(fake.Calls(), ElementsAre("SubscribeSignal 5 1 0")) << "no second try";
    EXPECT_THAT(Table()[Key(5, 1, 0)], ElementsAre(&one, &two));
    fake.Answer("UnsubscribeSignal", 0);
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &two);
    EXPECT_THAT(Table()[Key(5, 1, 0)], IsEmpty());
    const auto lines = LinesWithoutTheWorkers();
    EXPECT_TRUE(std::all_of(lines.begin(), lines.end(), [](const LogCapture::Line& line) {
        return line.priority == DLOG_DEBUG;
    })) << "nobody is told";
}

TEST_F(TVSEventProxyTest, HandsASignalWithItsDataToTheListenersOfItsKey) {
    proxy.Subscribe(SIGNAL_STREAM_FOUND, PROFILE_RECORD, 65535, &one);
    proxy.Subscribe(SIGNAL_STREAM_FOUND, PROFILE_MAIN, 65535, &two);
    int said = 0;
    one.onAsked = [&] { said = LogCapture::Count(DLOG_INFO, "Handle TVS callback with 1 signal"); };
    int result = -1;
    pid_t thread = 0;
    OnAnotherThread([&] {
        thread = ThisThread();
        result = fake.Signal(SIGNAL_STREAM_FOUND, PROFILE_RECORD, 65535, DATA);
    });
    EXPECT_EQ(result, 0);
    ASSERT_THAT(one.Events(), SizeIs(1));
    const tvs_event_args_t& args = one.Events()[0];
    EXPECT_TRUE(args.event == Key(1, 3, 65535));
    EXPECT_EQ(args.data.value, DATA.value);
    EXPECT_EQ(args.data.extra, DATA.extra);
    EXPECT_THAT(one.Threads(), ElementsAre("one_thread"));
    EXPECT_THAT(one.asked, ElementsAre(thread));
    EXPECT_THAT(two.Events(), IsEmpty());
    EXPECT_EQ(said, 1) << "ahead of the delivery";
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Handle TVS callback with 1 signal"), 1);
}

TEST_F(TVSEventProxyTest, MakesAnEmptyEntryForASignalThatNobodyWants) {
    EXPECT_EQ(TVSEventProxy::SignalCallback(Signal(-7), PROFILE_MAIN, 0, DATA, &proxy), 0);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Handle TVS callback with -7 signal"), 1);
    ASSERT_EQ(Table().count(Key(-7, 1, 0)), 1U);
    EXPECT_THAT(Table()[Key(-7, 1, 0)], IsEmpty());
}

TEST_F(TVSEventProxyTest, QueuesNothingBetweenTheLastUnsubscribeAndItsHook) {
    OnAnotherThread([&] {
        proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
        proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
    });
    EXPECT_EQ(TVSEventProxy::SignalCallback(SIGNAL_TIME, PROFILE_MAIN, 0, DATA, &proxy), 0);
    EXPECT_THAT(one.asked, IsEmpty());
    EXPECT_EQ(Table().count(Key(5, 1, 0)), 1U);
}

TEST_F(TVSEventProxyTest, HoldsItsLockWhileASignalIsDelivered) {
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
    OtherThread other;
    bool waited = false;
    one.onAsked = [&] {
        waited = other.WaitsFor(proxy,
                                [this] { proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one); });
    };
    fake.Signal(SIGNAL_TIME, PROFILE_MAIN, 0, DATA);
    EXPECT_TRUE(waited);
    EXPECT_THAT(one.Events(), SizeIs(1));
}

TEST_F(TVSEventProxyTest, HoldsItsLockWhileAHookRunsInsideTheCall) {
    OtherThread atFirst;
    OtherThread atLast;
    bool waited = false;
    const auto subscribeTwo = [this] { proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 1, &two); };
    fake.InsideNextCall([&] { waited = atFirst.WaitsFor(proxy, subscribeTwo); });
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
    EXPECT_TRUE(waited);
    waited = false;
    fake.InsideNextCall([&] { waited = atLast.WaitsFor(proxy, subscribeTwo); });
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
    EXPECT_TRUE(waited);
}

TEST_F(TVSEventProxyTest, HoldsNoLockWhileAQueuedHookRuns) {
    OnAnotherThread([this] { proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one); });
    OtherThread other;
    bool finished = false;
    fake.InsideNextCall([&] {
        finished = other.Finishes([this] { proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &two); });
    });
    RunMainLoop();
    EXPECT_TRUE(finished);
}

TEST_F(TVSEventProxyTest, WaitsForNoListener) {
    const auto gate = std::make_shared<Gate>();
    one.onEvent = [gate] { gate->Wait(); };
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &one);
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &two);
    fake.Signal(SIGNAL_TIME, PROFILE_MAIN, 0, DATA);
    fake.Signal(SIGNAL_TIME, PROFILE_MAIN, 0, DATA);
    EXPECT_THAT(two.Events(), SizeIs(2)) << "while the other is still at its first";
    gate->Open();
    EXPECT_THAT(one.Events(), SizeIs(2));
}

TEST_F(TVSEventProxyTest, TakesNoNullListener) {
    proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, nullptr);
    proxy.Unsubscribe(SIGNAL_TIME, PROFILE_MAIN, 0, nullptr);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Listener cannot be NULL"), 2);
    EXPECT_THAT(fake.Calls(), IsEmpty());
    EXPECT_THAT(Table(), IsEmpty());
}

TEST(TVSEventProxyLife, MakesTheSubscriberWithTheProxyAndReturnsItAtExit) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellCallsAtExit();
            TVSEventProxy::Get();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        HasSubstr("asked: CreateSignalSubscriber, DestroySignalSubscriber."));
}

// The base's own hooks run, and only once the platform's subscriber has gone.
TEST(TVSEventProxyLife, AsksThePlatformToStopNothingAtExit) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellCallsAtExit();
            std::atexit([] {
                std::fprintf(stderr, "hooks: %d.\n",
                             LogCapture::Count(DLOG_DEBUG, "Default handler"));
            });
            TVSEventProxy& proxy = TVSEventProxy::Get();
            Listener listener("listener");
            proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &listener);
            proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 1, &listener);
            FakeTVService::Get().InsideNextCall([&] {
                std::fprintf(stderr, "hooks when returned: %d. %s.\n",
                             LogCapture::Count(DLOG_DEBUG, "Default handler"),
                             proxy.*MemberOf(Subscriber()) == nullptr ? "forgotten" : "known yet");
            });
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(HasSubstr("SubscribeSignal 5 1 0, SubscribeSignal 5 1 1, "
                                 "DestroySignalSubscriber."),
                       HasSubstr("hooks when returned: 0. known yet."), HasSubstr("hooks: 2.")));
}

TEST(TVSEventProxyLife, FallsOverTheSubscriberThatThePlatformDidNotMake) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            FakeTVService::Get().Answer("CreateSignalSubscriber", 0);
            TVSEventProxy& proxy = TVSEventProxy::Get();
            Listener listener("listener");
            std::fprintf(stderr, "made\n");
            proxy.Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, &listener);
            std::exit(0);
        },
        DiedOfAFault, HasSubstr("made"));
}

} // namespace

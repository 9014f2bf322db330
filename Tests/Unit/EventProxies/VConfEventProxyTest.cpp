// SPDX-License-Identifier: Apache-2.0
#include "VConfEventProxy.h"

#include <cstdlib>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <type_traits>

#include "DeathTest.h"
#include "FakeVConf.h"
#include "PrivateMember.h"
#include "ProxyTools.h"
#include "RecordingListener.h"
#include "RunMainLoop.h"

namespace {

using marrow::evt::VConfData;
using marrow::evt::VConfEventProxy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Manager = marrow::evt::SubscriptionManager<std::string, VConfData>;
using Table = std::map<std::string, std::vector<Manager::IListener*>>;
using Listener = RecordingListener<VConfData>;

struct Subscribers : PrivateMember<Subscribers, Table Manager::*> {};

constexpr const char* KEY = "db/audio/volume";

} // namespace

template struct ExposeMember<Subscribers, &Manager::m_subscribers>;

namespace {

// The test's thread is the main thread: it owns the default context, and runs what is queued there
// when the test says so.
class VConfEventProxyTest : public testing::Test {
protected:
    VConfEventProxyTest() {
        EXPECT_TRUE(g_main_context_acquire(nullptr));
        fake.Reset();
        Table().clear();
        LogCapture::Clear();
    }
    ~VConfEventProxyTest() override {
        RunMainLoop();
        g_main_context_release(nullptr);
        Table().clear();
    }

    ::Table& Table() { return proxy.*MemberOf(Subscribers()); }

    FakeVConf& fake = FakeVConf::Get();
    VConfEventProxy& proxy = VConfEventProxy::GetInstance();
    Listener one{"one"};
    Listener two{"two"};
};

TEST_F(VConfEventProxyTest, IsOneObjectForTheProcess) {
    EXPECT_EQ(&VConfEventProxy::GetInstance(), &proxy);
    EXPECT_FALSE(std::is_default_constructible_v<VConfEventProxy>);
}

// --- subscriptions ---

TEST_F(VConfEventProxyTest, AsksThePlatformForTheFirstListenerOfAKey) {
    const std::string line = "Subscribe for db/audio/volume value change";
    int said = 0;
    fake.InsideNextCall([&] { said = LogCapture::Count(DLOG_INFO, line); });
    proxy.Subscribe(KEY, &one);
    EXPECT_THAT(fake.Calls(), ElementsAre("vconf_notify_key_changed db/audio/volume"));
    EXPECT_EQ(fake.User(KEY), &proxy);
    EXPECT_EQ(fake.Callback(KEY), VConfEventProxy::VConfLibCallback);
    EXPECT_EQ(said, 1) << "ahead of the call";
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, line), 1);
    proxy.Subscribe(KEY, &two);
    EXPECT_THAT(fake.Calls(), SizeIs(1));
}

TEST_F(VConfEventProxyTest, TellsThePlatformWhenTheLastListenerOfAKeyHasGone) {
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe(KEY, &two);
    proxy.Unsubscribe(KEY, &one);
    EXPECT_THAT(fake.Calls(), SizeIs(1));
    const std::string line = "No subscribers for db/audio/volume. Unsubscribe from platform.";
    int said = 0;
    fake.InsideNextCall([&] { said = LogCapture::Count(DLOG_INFO, line); });
    proxy.Unsubscribe(KEY, &two);
    EXPECT_THAT(fake.Calls(), ElementsAre("vconf_notify_key_changed db/audio/volume",
                                          "vconf_ignore_key_changed db/audio/volume"));
    EXPECT_EQ(said, 1) << "ahead of the call";
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, line), 1);
}

TEST_F(VConfEventProxyTest, AsksThePlatformOnTheMainThread) {
    pid_t thread = 0;
    fake.InsideNextCall([&] { thread = ThisThread(); });
    std::thread([this] { proxy.Subscribe(KEY, &one); }).join();
    EXPECT_THAT(fake.Calls(), IsEmpty()) << "the caller's thread asks nothing";
    RunMainLoop();
    EXPECT_THAT(fake.Calls(), SizeIs(1));
    EXPECT_EQ(thread, ThisThread());
}

TEST_F(VConfEventProxyTest, AnswersWhetherThePlatformHasRefused) {
    for (const int answer : {-1, 0, 1}) {
        fake.Answer(answer);
        EXPECT_EQ(proxy.OnFirstSubCb(KEY), answer != 0) << answer;
        EXPECT_EQ(proxy.OnLastUnsubCb(KEY), answer != 0) << answer;
    }
}

TEST_F(VConfEventProxyTest, LeavesAListenerSubscribedAndSilentWhereThePlatformRefuses) {
    fake.Answer(-1);
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe(KEY, &two);
    EXPECT_THAT(fake.Calls(), SizeIs(1)) << "no second try";
    EXPECT_THAT(Table()[KEY], ElementsAre(&one, &two));
    for (const LogCapture::Line& line : LinesWithoutTheWorkers()) {
        EXPECT_LE(line.priority, DLOG_INFO) << line.text;
    }
}

TEST_F(VConfEventProxyTest, HandsAChangeToTheListenersOfItsKeyOnTheirWorkers) {
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe("db/audio/mute", &two);
    const std::string line = "db/audio/volume value changed. Start notification.";
    int said = 0;
    one.onAsked = [&] { said = LogCapture::Count(DLOG_INFO, line); };
    pid_t thread = 0;
    std::thread([&] {
        thread = ThisThread();
        fake.Change({KEY, 41, "", 31, 0, 0});
    }).join();
    ASSERT_THAT(one.Events(), SizeIs(1));
    EXPECT_EQ(one.Events()[0].GetName(), KEY);
    EXPECT_EQ(one.Events()[0].GetType(), 41);
    EXPECT_EQ(static_cast<int>(one.Events()[0]), 31);
    EXPECT_THAT(one.Threads(), ElementsAre("one_thread"));
    EXPECT_THAT(one.asked, ElementsAre(thread));
    EXPECT_THAT(two.Events(), IsEmpty());
    EXPECT_EQ(said, 1) << "ahead of the delivery";
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, line), 1);
}

TEST_F(VConfEventProxyTest, GivesEachListenerACopyOfItsOwn) {
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe(KEY, &two);
    fake.Change({KEY, 40, "loud", 0, 0, 0});
    ASSERT_THAT(one.Events(), SizeIs(1));
    one.Events()[0] = VConfData(one.Events()[0]);
    one.Events().clear();
    ASSERT_THAT(two.Events(), SizeIs(1));
    EXPECT_EQ(static_cast<std::string>(two.Events()[0]), "loud");
}

TEST_F(VConfEventProxyTest, TellsOfARemovedKeyAsOneWithoutAValue) {
    proxy.Subscribe(KEY, &one);
    fake.Change({KEY, VCONF_NONE, "", 0, 0, 0});
    ASSERT_THAT(one.Events(), SizeIs(1));
    EXPECT_EQ(one.Events()[0].GetType(), 0);
    EXPECT_EQ(static_cast<int>(one.Events()[0]), 2147483647);
}

TEST_F(VConfEventProxyTest, MakesAnEmptyEntryForAChangeThatNobodyWants) {
    _keynode_t node{"nobody/wants", 41, "", 1, 0, 0};
    VConfEventProxy::VConfLibCallback(&node, &proxy);
    ASSERT_EQ(Table().count("nobody/wants"), 1U);
    EXPECT_THAT(Table()["nobody/wants"], IsEmpty());
}

TEST_F(VConfEventProxyTest, HoldsItsLockWhileAChangeIsDelivered) {
    proxy.Subscribe(KEY, &one);
    OtherThread other;
    bool waited = false;
    one.onAsked = [&] { waited = other.WaitsFor(proxy, [this] { proxy.Unsubscribe(KEY, &one); }); };
    fake.Change({KEY, 41, "", 31, 0, 0});
    EXPECT_TRUE(waited);
    EXPECT_THAT(one.Events(), SizeIs(1));
}

TEST_F(VConfEventProxyTest, LetsAListenersExceptionReachItsOwnCode) {
    proxy.Subscribe(KEY, &one);
    bool thrown = false;
    one.onEvent = [&] {
        fake.InsideNextCall([] {});
        _keynode_t node{KEY, 43, "", 0, 1, 0};
        const VConfData data(&node);
        try {
            (void)static_cast<bool>(data);
        } catch (const boost::bad_any_cast&) {
            thrown = true;
        }
    };
    fake.Change({KEY, 43, "", 0, 1, 0});
    EXPECT_THAT(one.Events(), SizeIs(1));
    EXPECT_TRUE(thrown);
}

// --- values ---

TEST_F(VConfEventProxyTest, ReadsAnInteger) {
    fake.SetValues(-5, 0, "");
    int value = 0;
    EXPECT_TRUE(proxy.GetValue("a", value));
    EXPECT_EQ(value, -5);
    EXPECT_THAT(fake.Calls(), ElementsAre("vconf_get_int a"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Get key a"), 1);
    for (const int answer : {-1, 1}) {
        fake.Answer(answer);
        value = 77;
        EXPECT_FALSE(proxy.GetValue("a", value)) << answer;
        EXPECT_EQ(value, 77);
    }
}

TEST_F(VConfEventProxyTest, ReadsABooleanWhichIsTrueAtOneOnly) {
    for (const int stored : {1, 0, 2, -1}) {
        fake.SetValues(stored, 0, "");
        bool value = stored != 1;
        EXPECT_TRUE(proxy.GetValue("a", value));
        EXPECT_EQ(value, stored == 1) << stored;
    }
    EXPECT_THAT(fake.Calls(), testing::Each("vconf_get_bool a"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Get key a"), 4);
}

TEST_F(VConfEventProxyTest, LeavesABooleanAloneThatCannotBeRead) {
    fake.SetValues(1, 0, "");
    for (const int answer : {-1, 1}) {
        fake.Answer(answer);
        bool value = false;
        EXPECT_FALSE(proxy.GetValue("a", value));
        EXPECT_FALSE(value);
        value = true;
        EXPECT_FALSE(proxy.GetValue("a", value));
        EXPECT_TRUE(value);
    }
}

TEST_F(VConfEventProxyTest, ReadsADouble) {
    fake.SetValues(0, 0.125, "");
    double value = 0;
    EXPECT_TRUE(proxy.GetValue("a", value));
    EXPECT_EQ(value, 0.125);
    EXPECT_THAT(fake.Calls(), ElementsAre("vconf_get_dbl a"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Get key a"), 1);
    for (const int answer : {-1, 1}) {
        fake.Answer(answer);
        EXPECT_FALSE(proxy.GetValue("a", value)) << answer;
    }
}

TEST_F(VConfEventProxyTest, ReadsAStringWhichIsTheCallers) {
    fake.SetValues(0, 0, "text");
    char* value = nullptr;
    EXPECT_TRUE(proxy.GetValue("a", value));
    EXPECT_STREQ(value, "text");
    free(value); // NOLINT: as the platform's strings are freed
    EXPECT_THAT(fake.Calls(), ElementsAre("vconf_get_str a"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Get key a"), 1);
    fake.Answer(-1);
    EXPECT_FALSE(proxy.GetValue("a", value));
    EXPECT_EQ(value, nullptr);
}

TEST_F(VConfEventProxyTest, WritesAValueOfEachTypeAsThatType) {
    EXPECT_TRUE(proxy.SetValue("a", 7));
    EXPECT_TRUE(proxy.SetValue("a", true));
    EXPECT_TRUE(proxy.SetValue("a", false));
    EXPECT_TRUE(proxy.SetValue("a", 0.5));
    const char* text = "text";
    EXPECT_TRUE(proxy.SetValue("a", text));
    EXPECT_THAT(fake.Calls(),
                ElementsAre("vconf_set_int a 7", "vconf_set_bool a 1", "vconf_set_bool a 0",
                            "vconf_set_dbl a 0.500000", "vconf_set_str a text"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Set key a = 7"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Set key a = 1"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Set key a = 0"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Set key a = 0.500000"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Set key a = text"), 1);
}

TEST_F(VConfEventProxyTest, TakesALiteralForAStringAndAComparisonForABoolean) {
    proxy.SetValue("a", "true");
    char buffer[] = "buffer";
    proxy.SetValue("a", buffer);
    proxy.SetValue("a", 3 > 2);
    proxy.SetValue("a", 'c' - 'a');
    EXPECT_THAT(fake.Calls(), ElementsAre("vconf_set_str a true", "vconf_set_str a buffer",
                                          "vconf_set_bool a 1", "vconf_set_int a 2"));
}

TEST_F(VConfEventProxyTest, RemovesAndSyncs) {
    EXPECT_TRUE(proxy.Delete("a"));
    EXPECT_TRUE(proxy.Sync("b"));
    EXPECT_THAT(fake.Calls(), ElementsAre("vconf_unset a", "vconf_sync_key b"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Delete key a"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Sync key b"), 1);
}

TEST_F(VConfEventProxyTest, SaysFalseWhereverThePlatformDoesNotSayZero) {
    for (const int answer : {-1, 1}) {
        fake.Answer(answer);
        EXPECT_FALSE(proxy.SetValue("a", 7));
        EXPECT_FALSE(proxy.SetValue("a", true));
        EXPECT_FALSE(proxy.SetValue("a", 0.5));
        EXPECT_FALSE(proxy.SetValue("a", "text"));
        EXPECT_FALSE(proxy.Delete("a"));
        EXPECT_FALSE(proxy.Sync("a"));
    }
    EXPECT_THAT(LinesWithoutTheWorkers(), SizeIs(12)) << "a line for each call, and no more";
}

TEST_F(VConfEventProxyTest, TakesNoLockForValues) {
    proxy.Subscribe(KEY, &one);
    OtherThread other;
    bool finished = false;
    one.onAsked = [&] { finished = other.Finishes([this] { proxy.SetValue(KEY, 7); }); };
    fake.Change({KEY, 41, "", 31, 0, 0});
    EXPECT_TRUE(finished);
}

// --- life ---

// Like TellCallsAtExit, for this fake.
void TellVConfCallsAtExit() {
    std::atexit([] {
        std::fprintf(stderr, "asked: %s.\n",
                     testing::PrintToString(FakeVConf::Get().Calls()).c_str());
        std::fprintf(stderr, "hooks: %d.\n", LogCapture::Count(DLOG_DEBUG, "Default handler"));
    });
}

TEST(VConfEventProxyLife, AsksThePlatformNothingWhenItIsMade) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellVConfCallsAtExit();
            VConfEventProxy::GetInstance();
            std::exit(0);
        },
        testing::ExitedWithCode(0), HasSubstr("asked: {}."));
}

TEST(VConfEventProxyLife, AsksThePlatformToStopNothingAtExit) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            TellVConfCallsAtExit();
            VConfEventProxy& proxy = VConfEventProxy::GetInstance();
            Listener listener("listener");
            proxy.Subscribe("a", &listener);
            proxy.Subscribe("b", &listener);
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(HasSubstr("asked: { \"vconf_notify_key_changed a\", "
                                 "\"vconf_notify_key_changed b\" }."),
                       HasSubstr("hooks: 2.")));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "SubscriptionManager.h"

#include <functional>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

#include "BlockedThread.h"
#include "DeathTest.h"
#include "Dlog.h"
#include "LogCapture.h"
#include "PrivateMember.h"
#include "RunMainLoop.h"
#include "SubscriptionManagerImpl.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

namespace {

using marrow::ser::Worker;
using marrow::ser::WorkerFactory;
using testing::ElementsAre;
using testing::IsEmpty;

using Key = std::tuple<int, int, int>;
using Manager = marrow::evt::SubscriptionManager<Key, std::string>;
using Table = std::map<Key, std::vector<Manager::IListener*>>;

const Key KEY{1, 2, 3};

// A proxy as the platform's sources have them: it notes on which thread its hooks run, how many
// listeners the key had then, and answers as the test wants.
class TestProxy : public Manager {
public:
    ~TestProxy() override = default;

    bool OnFirstSubCb(Key key) override { return Note("first", key); }
    bool OnLastUnsubCb(Key key) override { return Note("last", key); }

    Table& Subscribers();

    std::vector<std::string> hooks;
    std::vector<pid_t> threads;
    std::function<void(Key)> onHook = [](const Key&) {};
    bool answer = true;

private:
    bool Note(const std::string& hook, const Key& key) {
        hooks.push_back(hook + std::to_string(std::get<2>(key)));
        threads.push_back(ThisThread());
        onHook(key);
        return answer;
    }
};

struct Subscribers : PrivateMember<Subscribers, Table Manager::*> {};

} // namespace

template struct ExposeMember<Subscribers, &Manager::m_subscribers>;

namespace {

Table& TestProxy::Subscribers() {
    return this->*MemberOf(::Subscribers());
}

// A listener on a worker of its own.
class TestListener final : public Manager::IListener {
public:
    explicit TestListener(const std::string& name)
        : m_worker(WorkerFactory::Get().GetWorker(name)) {}
    ~TestListener() { RunOn(m_worker); } // what is queued still needs it

    std::shared_ptr<Worker> GetWorker() override {
        asked.push_back(ThisThread());
        onAsked();
        return m_worker;
    }
    void OnEvent(std::string event) override {
        events.push_back(event + " on " + ThreadName());
        event += " changed";
        onEvent();
    }

    // Once what is queued has been delivered.
    std::vector<std::string> Events() {
        EXPECT_TRUE(RunOn(m_worker));
        return events;
    }

    std::vector<pid_t> asked;
    std::vector<std::string> events;
    std::function<void()> onAsked = [] {};
    std::function<void()> onEvent = [] {};

private:
    const std::shared_ptr<Worker> m_worker;
};

// The test's thread is the main thread: it owns the default context, and runs what is queued there
// when the test says so.
class SubscriptionManagerTest : public testing::Test {
protected:
    SubscriptionManagerTest() {
        EXPECT_TRUE(g_main_context_acquire(nullptr));
        LogCapture::Clear();
    }
    ~SubscriptionManagerTest() override {
        RunMainLoop();
        g_main_context_release(nullptr);
    }

    static void OnAnotherThread(const std::function<void()>& work) { std::thread(work).join(); }

    static Key Other(int last) { return {1, 2, last}; }

    TestListener one{"one"};
    TestListener two{"two"};
    TestListener three{"three"};
    TestProxy proxy;
};

TEST_F(SubscriptionManagerTest, RunsTheFirstHookLaterOnTheMainThreadForAnotherThread) {
    OnAnotherThread([&] { proxy.Subscribe(KEY, &one); });
    EXPECT_THAT(proxy.hooks, IsEmpty());
    EXPECT_THAT(proxy.Subscribers()[KEY], ElementsAre(&one)) << "the listener doesn't wait for it";
    int said = 0;
    proxy.onHook = [&](const Key&) { said = LogCapture::Count(DLOG_DEBUG, "Context callback"); };
    RunMainLoop();
    EXPECT_THAT(proxy.hooks, ElementsAre("first3"));
    EXPECT_THAT(proxy.threads, ElementsAre(ThisThread()));
    EXPECT_EQ(said, 1) << "ahead of the hook";
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Context callback"), 1);
    RunMainLoop();
    EXPECT_EQ(proxy.hooks.size(), 1U) << "once";
}

TEST_F(SubscriptionManagerTest, RunsTheFirstHookAtOnceOnTheMainThreadAheadOfTheListener) {
    std::optional<std::size_t> listeners;
    proxy.onHook = [&](const Key& key) { listeners = proxy.Subscribers()[key].size(); };
    proxy.Subscribe(KEY, &one);
    EXPECT_THAT(proxy.hooks, ElementsAre("first3"));
    EXPECT_EQ(listeners, 0U);
}

TEST_F(SubscriptionManagerTest, RunsAHookOnTheCallersThreadWhileNobodyHasTheMainContext) {
    g_main_context_release(nullptr);
    pid_t thread = 0;
    OnAnotherThread([&] {
        thread = ThisThread();
        proxy.Subscribe(KEY, &one);
    });
    EXPECT_THAT(proxy.threads, ElementsAre(thread));
    EXPECT_TRUE(g_main_context_acquire(nullptr));
}

TEST_F(SubscriptionManagerTest, RunsHooksForTheFirstAndTheLastListenerOnly) {
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe(KEY, &two);
    EXPECT_THAT(proxy.hooks, ElementsAre("first3"));
    proxy.Unsubscribe(KEY, &one);
    EXPECT_THAT(proxy.hooks, ElementsAre("first3"));
    proxy.Unsubscribe(KEY, &two);
    EXPECT_THAT(proxy.hooks, ElementsAre("first3", "last3"));
}

TEST_F(SubscriptionManagerTest, RunsTheLastHookForAKeyThatNobodyWanted) {
    proxy.Unsubscribe(KEY, &one);
    EXPECT_THAT(proxy.hooks, ElementsAre("last3"));
    ASSERT_EQ(proxy.Subscribers().count(KEY), 1U) << "an empty entry stays";
    EXPECT_THAT(proxy.Subscribers()[KEY], IsEmpty());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_DEBUG, "Listener ("), 0) << "nothing is said";
}

TEST_F(SubscriptionManagerTest, RunsTheLastHookAgainAtAFurtherUnsubscribe) {
    proxy.Subscribe(KEY, &one);
    proxy.Unsubscribe(KEY, &one);
    proxy.Unsubscribe(KEY, &one);
    EXPECT_THAT(proxy.hooks, ElementsAre("first3", "last3", "last3"));
    proxy.Subscribe(KEY, &one);
    EXPECT_THAT(proxy.hooks, ElementsAre("first3", "last3", "last3", "first3"));
}

TEST_F(SubscriptionManagerTest, KeepsAListenerWhoseHookFails) {
    proxy.answer = false;
    proxy.Subscribe(KEY, &one);
    EXPECT_THAT(proxy.Subscribers()[KEY], ElementsAre(&one));
    proxy.Subscribe(KEY, &two);
    EXPECT_THAT(proxy.hooks, ElementsAre("first3")) << "no second try";
}

TEST_F(SubscriptionManagerTest, TakesNoNullListener) {
    proxy.Subscribe(KEY, nullptr);
    proxy.Unsubscribe(KEY, nullptr);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Listener cannot be NULL"), 2);
    EXPECT_THAT(proxy.hooks, IsEmpty());
    EXPECT_THAT(proxy.Subscribers(), IsEmpty());
}

TEST_F(SubscriptionManagerTest, KeepsAListenerOnce) {
    char pointer[32];
    std::snprintf(pointer, sizeof(pointer), "(%p)",
                  static_cast<void*>(static_cast<Manager::IListener*>(&one)));
    proxy.Subscribe(KEY, &one);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG,
                                std::string("Listener ") + pointer + " subscribed successfully"),
              1);
    proxy.Subscribe(KEY, &one);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, std::string("Listener already subscribed ") + pointer),
              1);
    std::string event = "event";
    proxy.NotifyAll(KEY, event);
    EXPECT_THAT(one.Events(), ElementsAre("event on one_thread"));
    proxy.Unsubscribe(KEY, &one);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG,
                                std::string("Listener ") + pointer + " unsubscribed successfully"),
              1);
    EXPECT_THAT(proxy.Subscribers()[KEY], IsEmpty());
}

TEST_F(SubscriptionManagerTest, DeliversToEachListenerOnItsOwnWorkerACopyOfItsOwn) {
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe(KEY, &two);
    proxy.Subscribe(KEY, &three);
    std::string event = "event";
    proxy.NotifyAll(KEY, event);
    EXPECT_THAT(one.Events(), ElementsAre("event on one_thread"));
    EXPECT_THAT(two.Events(), ElementsAre("event on two_thread"));
    EXPECT_THAT(three.Events(), ElementsAre("event on three_thread"));
    EXPECT_EQ(event, "event");
    EXPECT_THAT(one.asked, ElementsAre(ThisThread())) << "asked on the notifying thread";
}

TEST_F(SubscriptionManagerTest, AsksListenersInTheOrderOfTheirSubscription) {
    std::vector<std::string> order;
    one.onAsked = [&] { order.emplace_back("one"); };
    two.onAsked = [&] { order.emplace_back("two"); };
    three.onAsked = [&] { order.emplace_back("three"); };
    proxy.Subscribe(KEY, &two);
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe(KEY, &three);
    std::string event;
    proxy.NotifyAll(KEY, event);
    EXPECT_THAT(order, ElementsAre("two", "one", "three"));
    proxy.Unsubscribe(KEY, &one);
    order.clear();
    proxy.NotifyAll(KEY, event);
    EXPECT_THAT(order, ElementsAre("two", "three"));
}

TEST_F(SubscriptionManagerTest, DeliversInOrderAndWaitsForNobody) {
    const auto gate = std::make_shared<Gate>();
    one.onEvent = [gate] { gate->Wait(); };
    proxy.Subscribe(KEY, &one);
    proxy.Subscribe(KEY, &two);
    for (const char* text : {"a", "b", "c"}) {
        std::string event = text;
        proxy.NotifyAll(KEY, event);
    }
    EXPECT_EQ(two.Events().size(), 3U) << "while the other is still at its first";
    gate->Open();
    EXPECT_THAT(one.Events(), ElementsAre("a on one_thread", "b on one_thread", "c on one_thread"));
}

TEST_F(SubscriptionManagerTest, MakesAnEmptyEntryForAnEventThatNobodyWants) {
    std::string event;
    proxy.NotifyAll(KEY, event);
    ASSERT_EQ(proxy.Subscribers().count(KEY), 1U);
    EXPECT_THAT(proxy.Subscribers()[KEY], IsEmpty());
    EXPECT_THAT(proxy.hooks, IsEmpty());
}

TEST_F(SubscriptionManagerTest, TellsKeysApartByTheirLastField) {
    proxy.Subscribe(Other(1), &one);
    proxy.Subscribe(Other(2), &two);
    EXPECT_THAT(proxy.hooks, ElementsAre("first1", "first2"));
    std::string event = "event";
    proxy.NotifyAll(Other(2), event);
    EXPECT_THAT(one.Events(), IsEmpty());
    EXPECT_THAT(two.Events(), ElementsAre("event on two_thread"));
}

TEST_F(SubscriptionManagerTest, LetsAnExceptionOfAListenerOutAndItsLockGo) {
    one.onAsked = [] { throw std::runtime_error("no worker"); };
    proxy.Subscribe(KEY, &one);
    std::string event;
    EXPECT_THROW(proxy.NotifyAll(KEY, event), std::runtime_error);
    proxy.Unsubscribe(KEY, &one); // which would wait for ever
    EXPECT_THAT(proxy.hooks, ElementsAre("first3", "last3"));
}

TEST_F(SubscriptionManagerTest, RunsItsOwnHookForEachKeyWhenItEnds) {
    {
        TestProxy ending;
        ending.Subscribe(Other(1), &one);
        ending.Subscribe(Other(2), &one);
        ending.Unsubscribe(Other(2), &one);
        LogCapture::Clear();
    }
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Default handler"), 2) << "also for the empty entry";
}

TEST_F(SubscriptionManagerTest, HasHooksThatDoNothing) {
    Manager manager;
    EXPECT_TRUE(manager.OnFirstSubCb(KEY));
    EXPECT_TRUE(manager.OnLastUnsubCb(KEY));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Default handler"), 2);
}

// A hook that runs inside the call finds the lock taken, and the lock isn't recursive.
TEST_F(SubscriptionManagerTest, WaitsForItselfWhereAHookCallsIt) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "the sanitizer ends the program at a thread's second lock of a mutex";
    }
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            proxy.onHook = [&](const Key&) { proxy.Subscribe(KEY, &two); };
            const pid_t main = ThisThread();
            std::thread([&, main] {
                WaitUntilBlockedIn(main, proxy);
                _exit(42);
            }).detach();
            proxy.Subscribe(KEY, &one);
        },
        testing::ExitedWithCode(42), "");
}

} // namespace

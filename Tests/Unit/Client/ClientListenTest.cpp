// SPDX-License-Identifier: Apache-2.0
#include "ClientTest.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <vector>

#include "Caller.h"
#include "DeathTest.h"
#include "Gate.h"
#include "WaitUntil.h"

namespace {

using hearthd::Client;
using hearthd::Notification;
using hearthd::Subscription;
using Texts = std::vector<std::string>;

// A listener that keeps what it hears.
class Notes {
public:
    hearthd::Listener Listener() {
        return [this](const Notification& notification) {
            const std::scoped_lock lock(m_mutex);
            m_texts.push_back(notification.subject + " " + notification.payload["text"].asString());
            m_threads.push_back(std::this_thread::get_id());
        };
    }

    Texts Heard() {
        const std::scoped_lock lock(m_mutex);
        return m_texts;
    }

    bool Hear(const std::string& text) {
        return WaitUntil([&] {
            const Texts texts = Heard();
            return std::find(texts.begin(), texts.end(), text) != texts.end();
        });
    }

    std::size_t Threads() {
        const std::scoped_lock lock(m_mutex);
        return std::set<std::thread::id>(m_threads.begin(), m_threads.end()).size();
    }

private:
    std::mutex m_mutex;
    Texts m_texts;
    std::vector<std::thread::id> m_threads;
};

class ClientListen : public ClientTest {
protected:
    // Whatever was published before has been heard then, by whoever hears it.
    void WaitForTheRest() {
        Notes notes;
        const Subscription subscription = client.Listen("the rest", notes.Listener());
        Notify("the rest", "is here");
        ASSERT_TRUE(notes.Hear("the rest is here"));
    }

    Client client;
};

TEST_F(ClientListen, HearsTheNotificationsOfItsSubjectInOrderOnOneThread) {
    Notes notes;
    const Subscription news = client.Listen("news", notes.Listener());
    const Subscription odd = client.Listen("it's a\\b /c", notes.Listener());
    Notify("newsletter", "other");
    Notify("news", "one");
    Notify("it's a\\b /c", "two");
    Notify("news", "three");
    ASSERT_TRUE(notes.Hear("news three"));
    EXPECT_EQ(notes.Heard(), (Texts{"news one", "it's a\\b /c two", "news three"}));
    EXPECT_EQ(notes.Threads(), 1U);
}

TEST_F(ClientListen, HearsOnlyTheDaemon) {
    Notes notes;
    const Subscription subscription = client.Listen("news", notes.Listener());
    TestServer stranger("marrow.ser.stranger");
    ASSERT_TRUE(stranger.CreateDBusServer());
    Quill::TCMessage message;
    message.subject = "news";
    message.payload = Text("false");
    ASSERT_EQ(Quill::TCServer::SendSignal("marrow.ser.stranger",
                                          (std::string(ROUTER_SIGNAL) + "news").c_str(), &message),
              0);
    ASSERT_EQ(stranger.Ping(ROUTER), 0) << "the bus has it by now";
    Notify("news", "true");
    ASSERT_TRUE(notes.Hear("news true"));
    EXPECT_EQ(notes.Heard(), Texts{"news true"});
}

TEST_F(ClientListen, HearsAllSubjectsWhereItIsAskedTo) {
    Notes all;
    Notes one;
    const Subscription everything = client.ListenToAll(all.Listener());
    const Subscription news = client.Listen("news", one.Listener());
    Notify("news", "one");
    Notify("weather", "two");
    ASSERT_TRUE(all.Hear("weather two"));
    EXPECT_EQ(all.Heard(), (Texts{"news one", "weather two"}));
    EXPECT_TRUE(one.Hear("news one"));
}

TEST_F(ClientListen, EndsWithItsSubscriptionAndLeavesOthersAlone) {
    Notes ended;
    Notes going;
    Subscription one = client.Listen("news", ended.Listener());
    const Subscription other = client.Listen("news", going.Listener());
    Notify("news", "one");
    ASSERT_TRUE(ended.Hear("news one"));
    one.End();
    Notify("news", "two");
    ASSERT_TRUE(going.Hear("news two"));
    WaitForTheRest();
    EXPECT_EQ(ended.Heard(), Texts{"news one"});
    one.End();
    one = client.Listen("news", ended.Listener());
    Notify("news", "three");
    EXPECT_TRUE(ended.Hear("news three"));
}

TEST_F(ClientListen, EndsThatOfAllSubjectsToo) {
    Notes notes;
    {
        const Subscription subscription = client.ListenToAll(notes.Listener());
        Notify("news", "one");
        ASSERT_TRUE(notes.Hear("news one"));
    }
    Notify("news", "two");
    WaitForTheRest();
    EXPECT_EQ(notes.Heard(), Texts{"news one"});
}

TEST_F(ClientListen, EndsItsLastSubscriptionWhereAnotherIsAssigned) {
    Notes first;
    Notes second;
    Subscription subscription = client.Listen("first", first.Listener());
    subscription = client.Listen("second", second.Listener());
    Notify("first", "one");
    Notify("second", "two");
    EXPECT_TRUE(second.Hear("second two"));
    EXPECT_EQ(first.Heard(), Texts{});
}

TEST_F(ClientListen, WaitsAtItsEndForTheListenerThatRuns) {
    Gate begun;
    Gate gate;
    std::atomic<bool> finished = false;
    Subscription subscription = client.Listen("news", [&](const Notification&) {
        begun.Open();
        gate.Wait();
        finished = true;
    });
    Notify("news", "one");
    ASSERT_TRUE(begun.Wait());
    Caller ender([&] {
        subscription.End();
        return finished.load();
    });
    EXPECT_FALSE(WaitUntil([&] { return ender.IsDone(); }, std::chrono::seconds(1)));
    gate.Open();
    EXPECT_TRUE(ender.Join()) << "it ended ahead of the listener";
}

TEST_F(ClientListen, CanBeEndedByTheListenerItself) {
    std::atomic<int> calls = 0;
    Gate ended;
    Subscription subscription;
    subscription = client.Listen("news", [&](const Notification&) {
        ++calls;
        subscription.End();
        ended.Open();
    });
    Notify("news", "one");
    ASSERT_TRUE(ended.Wait());
    Notify("news", "two");
    WaitForTheRest();
    EXPECT_EQ(calls, 1);
}

TEST_F(ClientListen, IsGoneAtItsEndWhateverIsQueuedForIt) {
    Gate begun;
    Gate gate;
    const Subscription blocker = client.Listen("block", [&](const Notification&) {
        begun.Open();
        gate.Wait();
    });
    std::atomic<int> calls = 0;
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = held;
    Subscription subscription =
        client.Listen("news", [held = std::move(held), &calls](const Notification&) { ++calls; });
    Notify("block", "here");
    ASSERT_TRUE(begun.Wait());
    Notify("news", "one");
    client.Call("echo", Text("a"));
    client.Call("echo", Text("b")); // whose answer is taken out behind the notification
    EXPECT_FALSE(watch.expired());
    subscription.End();
    EXPECT_TRUE(watch.expired());
    gate.Open();
    WaitForTheRest();
    EXPECT_EQ(calls, 0);
}

TEST_F(ClientListen, MayCallAndWaitInAListener) {
    Gate answered;
    Json::Value answer;
    const Subscription subscription = client.Listen("news", [&](const Notification& news) {
        answer["now"] = client.Call("echo", news.payload);
        answer["soon"] = client.Call("echo", news.payload, std::chrono::milliseconds(20000));
        answer["later"] = client.CallAsync("echo", news.payload).get();
        answered.Open();
    });
    Notify("news", "one");
    ASSERT_TRUE(answered.Wait());
    EXPECT_EQ(answer["now"], Text("one"));
    EXPECT_EQ(answer["soon"], Text("one"));
    EXPECT_EQ(answer["later"], Text("one"));
}

TEST_F(ClientListen, GoesOnWhenTheDaemonHasStartedAnew) {
    Notes notes;
    const Subscription subscription = client.Listen("news", notes.Listener());
    router.CloseDBusServer();
    ASSERT_TRUE(router.CreateDBusServer());
    Notify("news", "one");
    EXPECT_TRUE(notes.Hear("news one"));
}

TEST_F(ClientListen, GoesOnWhenTheBusIsBack) {
    Notes notes;
    const Subscription subscription = client.Listen("news", notes.Listener());
    bus.Kill();
    bus.Start();
    EXPECT_TRUE(WaitUntil([&] {
        Quill::TCMessage message;
        message.subject = "news";
        message.payload = Text("one");
        Quill::TCServer::SendSignal(ROUTER, (std::string(ROUTER_SIGNAL) + "news").c_str(),
                                    &message);
        return !notes.Heard().empty();
    }));
}

// Throws in a process of its own, and ends that otherwise where it lives on.
void ThrowInAListener() {
    const PrivateBus bus;
    TestServer router(ROUTER);
    router.CreateDBusServer();
    Client client;
    const Subscription subscription = client.Listen(
        "news", [](const Notification&) { throw std::runtime_error("out of a listener"); });
    Quill::TCMessage message;
    message.subject = "news";
    Quill::TCServer::SendSignal(ROUTER, (std::string(ROUTER_SIGNAL) + "news").c_str(), &message);
    Gate().Wait(std::chrono::seconds(10));
}

TEST(ClientListenDeath, EndsTheProcessByAnExceptionThatLeavesAListener) {
    UseFreshProcesses();
    EXPECT_EXIT(ThrowInAListener(), DiedOfTerminate, "out of a listener");
}

} // namespace

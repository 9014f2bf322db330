// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "Gate.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "TCTask.h"
#include "TestServer.h"
#include "WireText.h"

namespace {

using Quill::TCMessage;
using Quill::TCServer;

class ServerSignal : public testing::Test {
protected:
    // From now on what is heard is noted, up to the signal of the subject "last".
    void NoteSubjects() {
        server.onReceived = [this](const char*, const TCMessage* message, TCMessage*,
                                   const char* signal) {
            if (signal != nullptr) {
                subjects += message->subject + " ";
            }
            if (message->subject == "last") {
                last.Open();
            }
        };
    }

    PrivateBus bus;
    Gate last;
    std::string subjects;
    TestServer server;
    RawClient client;
};

TEST_F(ServerSignal, DeliversASubscribedSignalThroughTheServersCallbacks) {
    Gate received;
    std::string text;
    server.onReceived = [&](const char* sender, const TCMessage* message, TCMessage* /*reply*/,
                            const char* signal) {
        text = std::string(sender) + " " + signal + " " + message->subject + " " +
               message->payload["a"].asString();
        received.Open();
    };
    server.CreateDBusServer();
    ASSERT_TRUE(server.SubscribeSignal(nullptr, "some.news", nullptr, nullptr));
    client.RequestName("test.client");
    client.SendSignal("some_2enews", {"some.news", "subject", R"({"a":"b"})"});
    ASSERT_TRUE(received.Wait());
    EXPECT_EQ(text, "test.client some.news subject b");
}

TEST_F(ServerSignal, HearsNamesThatRulesWriteInTheirOwnWay) {
    for (const std::string name : {"it's", "a\\b", "comma,", "a'b\\c'"}) {
        Gate received;
        std::vector<std::string> heard;
        server.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char* of) {
            heard.push_back(message->subject + of);
            if (message->subject == "last") {
                received.Open();
            }
        };
        server.CreateDBusServer();
        ASSERT_TRUE(server.SubscribeSignal(nullptr, name.c_str(), nullptr, nullptr)) << name;
        const std::string member = Quill::WireText::SignalMember(name);
        client.SendSignal(member, {name + " and more", "", ""});
        client.SendSignal(member, {name, "last", ""});
        ASSERT_TRUE(received.Wait()) << name;
        EXPECT_EQ(heard, std::vector<std::string>{"last" + name});
        server.CloseDBusServer();
    }
}

TEST_F(ServerSignal, CarriesASignalToATargetsThread) {
    Quill::TCTask task("task");
    task.Create("task", true, 0);
    Gate received;
    std::thread::id asked;
    std::thread::id delivered;
    server.onTransfer = [&](const char*, const TCMessage*, Quill::TCEventIO*& target) {
        asked = std::this_thread::get_id();
        target = &task;
        return true;
    };
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        delivered = std::this_thread::get_id();
        received.Open();
    };
    server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
    server.CreateDBusServer();
    client.SendSignal("news", {"news", "", ""});
    ASSERT_TRUE(received.Wait());
    EXPECT_NE(asked, delivered);
    server.CloseDBusServer();
    task.Destroy();
}

TEST_F(ServerSignal, GivesASignalToItsCallbackWithTheUserData) {
    struct Heard {
        Gate gate;
        std::string text;
    } heard;
    server.onReceived = [](const char*, const TCMessage*, TCMessage*, const char*) { FAIL(); };
    server.CreateDBusServer();
    const auto callback = [](const char* /*sender*/, const char* signal, TCMessage* message,
                             void* userData) {
        auto& data = *static_cast<Heard*>(userData);
        data.text = std::string(signal) + " " + message->subject;
        data.gate.Open();
    };
    ASSERT_TRUE(server.SubscribeSignal(nullptr, "news", callback, &heard));
    client.SendSignal("news", {"news", "subject", ""});
    ASSERT_TRUE(heard.gate.Wait());
    EXPECT_EQ(heard.text, "news subject");
}

TEST_F(ServerSignal, GivesAllSignalsThatBeginSoToACallback) {
    struct Heard {
        Gate last;
        std::string names;
    } heard;
    server.CreateDBusServer();
    const auto callback = [](const char* /*sender*/, const char* signal, TCMessage* message,
                             void* userData) {
        auto& data = *static_cast<Heard*>(userData);
        data.names += std::string(signal) + " ";
        if (message->subject == "last") {
            data.last.Open();
        }
    };
    ASSERT_TRUE(server.SubscribeSignals(nullptr, "news.", callback, &heard));
    EXPECT_FALSE(server.SubscribeSignals(nullptr, "news.", nullptr, nullptr));
    EXPECT_FALSE(server.SubscribeSignals(nullptr, nullptr, callback, &heard));
    server.UnSubscribeSignal(nullptr, "news."); // which is another one's end
    client.SendSignal("news_2ea", {"news.a", "", ""});
    client.SendSignal("news", {"news", "", ""});
    client.SendSignal("old_5fnews_2ea", {"old_news.a", "", ""});
    client.SendSignal("news_2eb", {"news.b", "last", ""});
    ASSERT_TRUE(heard.last.Wait());
    server.CloseDBusServer();
    EXPECT_EQ(heard.names, "news.a news.b ");
}

TEST_F(ServerSignal, ListensToOneSenderAloneWhenItIsNamed) {
    Gate received;
    std::string senders;
    server.onReceived = [&](const char* sender, const TCMessage* message, TCMessage*, const char*) {
        senders += std::string(sender) + " ";
        if (message->subject == "last") {
            received.Open();
        }
    };
    RawClient other;
    client.RequestName("test.client.Wanted");
    other.RequestName("test.client.Other");
    server.CreateDBusServer();
    server.SubscribeSignal("test.client.Wanted", "news", nullptr, nullptr);
    other.SendSignal("news", {"news", "", ""});
    other.Call("test.Server", "", "{"); // the signal has come past
    client.SendSignal("news", {"news", "last", ""});
    ASSERT_TRUE(received.Wait());
    EXPECT_EQ(senders, "test.client.Wanted ");
}

// The bus asks no rule for a signal with a destination.
TEST_F(ServerSignal, IsNotDeceivedByWhoSendsToItAloneWhereASenderIsNamed) {
    NoteSubjects();
    RawClient other;
    client.RequestName("test.client.Wanted");
    server.CreateDBusServer();
    server.SubscribeSignal("test.client.Wanted", "news", nullptr, nullptr);
    const auto sendTo = [](RawClient& from, const std::string& subject) {
        from.SendSignalTo("test.Server", Quill::WireText::OBJECT_PATH, Quill::WireText::INTERFACE,
                          "news", {"news", subject, ""});
    };
    sendTo(other, "forged");
    other.Call("test.Server", "", ""); // the signal has come past
    sendTo(client, "own");
    client.SendSignal("news", {"news", "last", ""});
    ASSERT_TRUE(last.Wait());
    EXPECT_EQ(subjects, "own last ");
}

TEST_F(ServerSignal, GivesEachOfTwoSubscriptionsItsOwnSenders) {
    struct Heard {
        Gate last;
        std::string subjects;
    } wanted;
    Heard anybody;
    const auto callback = [](const char*, const char*, TCMessage* message, void* userData) {
        auto& heard = *static_cast<Heard*>(userData);
        heard.subjects += message->subject + " ";
        if (message->subject == "last") {
            heard.last.Open();
        }
    };
    RawClient other;
    client.RequestName("test.client.Wanted");
    server.CreateDBusServer();
    server.SubscribeSignal("test.client.Wanted", "news", callback, &wanted);
    server.SubscribeSignal(nullptr, "news", callback, &anybody);
    other.SendSignal("news", {"news", "others", ""});
    other.Call("test.Server", "", ""); // the signal has come past
    client.SendSignal("news", {"news", "last", ""});
    ASSERT_TRUE(wanted.last.Wait());
    ASSERT_TRUE(anybody.last.Wait());
    server.CloseDBusServer();
    EXPECT_EQ(wanted.subjects, "last ");
    EXPECT_EQ(anybody.subjects, "others last ");
}

// The server's own name space is another one. Owners come, change and go.
TEST_F(ServerSignal, ListensToASenderOfAnyName) {
    NoteSubjects();
    RawClient second;
    RawClient third;
    client.RequestName("else.Where");
    server.CreateDBusServer();
    server.SubscribeSignal("else.Where", "news", nullptr, nullptr);
    server.SubscribeSignal(third.UniqueName().c_str(), "news", nullptr, nullptr);
    const auto send = [](RawClient& from, const std::string& subject) {
        from.SendSignal("news", {"news", subject, ""});
        from.Call("test.Server", "", ""); // it has come past
    };
    send(client, "first");
    client.ReleaseName("else.Where");
    send(client, "nobody's");
    second.RequestName("else.Where");
    send(second, "second");
    send(third, "unique");
    send(client, "nobody's");
    send(second, "last");
    ASSERT_TRUE(last.Wait());
    EXPECT_EQ(subjects, "first second unique last ");
}

TEST_F(ServerSignal, KnowsItsSendersFromTheBusAlone) {
    std::string sender;
    server.onReceived = [&](const char* from, const TCMessage*, TCMessage*, const char*) {
        sender = from;
    };
    server.CreateDBusServer();
    RawClient named;
    named.RequestName("test.client.Named");
    const auto tell = [this](const std::string& name, const std::string& owner) {
        client.SendSignalTo("test.Server", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                            "NameOwnerChanged", {name, "", owner});
    };
    tell("test.client.Stolen", client.UniqueName());
    client.Call("test.Server", "", "");
    EXPECT_EQ(sender, client.UniqueName());
    tell("test.client.Named", "");
    client.Call("test.Server", "", ""); // it has come past
    named.Call("test.Server", "", "");
    EXPECT_EQ(sender, "test.client.Named");
}

TEST_F(ServerSignal, HearsNothingAfterItHasUnsubscribed) {
    std::atomic<int> received{0};
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char* signal) {
        received += signal != nullptr ? 1 : 0;
    };
    server.CreateDBusServer();
    server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
    client.SendSignal("news", {"news", "", ""});
    client.Call("test.Server", "", "");
    EXPECT_EQ(received, 1);
    server.UnSubscribeSignal(nullptr, "news");
    client.SendSignal("news", {"news", "", ""});
    client.Call("test.Server", "", "");
    EXPECT_EQ(received, 1);
}

// Not even what has been taken off the bus already: here while a callback waits for an answer.
TEST_F(ServerSignal, HearsNothingBehindItsUnsubscribingThatHadComeAheadOfIt) {
    TestServer peer("test.Peer");
    std::atomic<int> received{0};
    Gate unsubscribed;
    peer.onReceived = [](const char*, const TCMessage* message, TCMessage*, const char*) {
        EXPECT_EQ(TCServer::SendSignal("test.Peer", "news", message), 0);
    };
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char* signal) {
        if (signal != nullptr && ++received == 1) {
            EXPECT_EQ(server.SendMessage("test.Peer", message, true, nullptr), 0);
            server.UnSubscribeSignal(nullptr, "news");
            unsubscribed.Open();
        }
    };
    server.CreateDBusServer();
    peer.CreateDBusServer();
    server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
    client.SendSignal("news", {"news", "", ""});
    ASSERT_TRUE(unsubscribed.Wait());
    client.Call("test.Server", "", ""); // its turn comes behind the signal's
    EXPECT_EQ(received, 1);
}

// Nor what waits in a target's queue.
TEST_F(ServerSignal, DeliversNothingToATargetBehindItsUnsubscribing) {
    Quill::TCTask task("task");
    task.Create("task", true, 0);
    Gate begun;
    Gate go;
    std::atomic<int> received{0};
    server.onTransfer = [&](const char*, const TCMessage*, Quill::TCEventIO*& target) {
        target = &task;
        return true;
    };
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char* signal) {
        begun.Open();
        go.Wait();
        received += signal != nullptr ? 1 : 0;
    };
    server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
    server.CreateDBusServer();
    for (int count = 0; count < 3; ++count) {
        client.SendSignal("news", {"news", "", ""});
    }
    ASSERT_TRUE(begun.Wait());
    server.UnSubscribeSignal(nullptr, "news");
    go.Open();
    client.Call("test.Server", "", ""); // behind them in the queue
    EXPECT_EQ(received, 1) << "the one that was under way";
    server.CloseDBusServer();
    task.Destroy();
}

TEST_F(ServerSignal, GoesOutOverTheOtherEndpointOfANameWhereOneHasClosed) {
    TestServer second("test.Server");
    server.CreateDBusServer();
    second.CreateDBusServer();
    client.Match("type='signal',interface='quill.Endpoint1',arg0='news'");
    const TCMessage message;
    second.CloseDBusServer();
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), 0);
    EXPECT_TRUE(client.Next().has_value());
    second.CreateDBusServer();
    server.CloseDBusServer();
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), 0);
    EXPECT_TRUE(client.Next().has_value());
    second.CloseDBusServer();
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), -ENOENT);
}

TEST_F(ServerSignal, SendsASignalWithItsExactNameAsFirstArgument) {
    server.CreateDBusServer();
    client.Match("type='signal',interface='quill.Endpoint1',arg0='it is/news'");
    TCMessage message;
    message.subject = "subject";
    message.payload["a"] = 1;
    EXPECT_EQ(TCServer::SendSignal("test.Server", "it is/news", &message), 0);
    const auto signal = client.Next();
    ASSERT_TRUE(signal.has_value());
    EXPECT_EQ(signal->member, "it_20is_2fnews");
    EXPECT_EQ(signal->arguments, (std::vector<std::string>{"it is/news", "subject", R"({"a":1})"}));
}

TEST_F(ServerSignal, SendsFromAnyThreadWhileItReceives) {
    constexpr int THREADS = 4;
    constexpr int SIGNALS = 250;
    server.CreateDBusServer();
    client.Match("type='signal',interface='quill.Endpoint1',arg0='news'");
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([] {
            TCMessage message;
            for (int n = 0; n < SIGNALS; ++n) {
                EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), 0);
            }
        });
    }
    RawClient caller;
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(caller.Call("test.Server", "", "").error, "");
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < THREADS * SIGNALS; ++i) {
        ASSERT_TRUE(client.Next().has_value()) << i;
    }
}

TEST_F(ServerSignal, HearsTheSignalThatItSendsItself) {
    Gate received;
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        received.Open();
    };
    server.CreateDBusServer();
    server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
    const TCMessage message;
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), 0);
    EXPECT_TRUE(received.Wait());
}

TEST_F(ServerSignal, SaysWhyItCannotSend) {
    TCMessage message;
    EXPECT_EQ(TCServer::SendSignal("nobody.here", "news", &message), -ENOENT);
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), -ENOENT) << "not created";
    server.CreateDBusServer();
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", nullptr), -EINVAL);
    EXPECT_EQ(TCServer::SendSignal("test.Server", "", &message), -EINVAL);
    message.payload["text"] = std::string(33UL * 1024 * 1024, 'x');
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), -EMSGSIZE);
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})");
    server.CloseDBusServer();
    EXPECT_EQ(TCServer::SendSignal("test.Server", "news", &message), -ENOENT) << "closed";
}

TEST_F(ServerSignal, RefusesASubscriptionToNothing) {
    server.CreateDBusServer();
    EXPECT_FALSE(server.SubscribeSignal(nullptr, nullptr, nullptr, nullptr));
    EXPECT_FALSE(server.SubscribeSignal(nullptr, "", nullptr, nullptr));
    EXPECT_FALSE(server.SubscribeSignal("not a name", "news", nullptr, nullptr));
}

} // namespace

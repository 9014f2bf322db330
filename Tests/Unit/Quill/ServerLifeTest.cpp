// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "Caller.h"
#include "Dlog.h"
#include "Gate.h"
#include "LogCapture.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "RunMainLoop.h"
#include "TCTask.h"
#include "TestServer.h"
#include "WaitUntil.h"

namespace {

using Quill::TCEventIO;
using Quill::TCMessage;

class ServerLife : public testing::Test {
protected:
    PrivateBus bus;
    TestServer server;
};

TEST_F(ServerLife, AppearsOnTheBusWithItsCreationAndLeavesItWithItsEnd) {
    RawClient client;
    EXPECT_FALSE(client.NameHasOwner("test.Server"));
    EXPECT_TRUE(server.CreateDBusServer());
    EXPECT_TRUE(client.NameHasOwner("test.Server"));
    server.CloseDBusServer();
    EXPECT_TRUE(WaitUntil([&] { return !client.NameHasOwner("test.Server"); }));
    server.CloseDBusServer(); // a second time is no harm
    EXPECT_TRUE(server.CreateDBusServer());
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})");
}

// A process makes what its callbacks need, and then runs its main loop. Who calls as soon as the
// name is there must not find things half made.
TEST_F(ServerLife, HoldsCallsAndSignalsBackUntilTheMainLoopRuns) {
    std::atomic<int> received{0};
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) { ++received; };
    server.SubscribeSignal(nullptr, "Hello", nullptr, nullptr);
    const auto opened = std::chrono::steady_clock::now();
    ASSERT_TRUE(server.TCServer::CreateDBusServer());
    RawClient client;
    client.Send("test.Server", "me", R"({"number":1})");
    client.SendSignal("Hello", {"Hello", "me", "{}"});
    client.Send("test.Server", "me", R"({"number":2})");
    // Long enough for them to have come; how much of the limit this machine has used up by then
    // is its own affair, and tells whether the look means anything.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const int before = received;
    if (std::chrono::steady_clock::now() - opened < std::chrono::milliseconds(4900)) {
        EXPECT_EQ(before, 0);
    }
    RunMainLoop();
    EXPECT_TRUE(WaitUntil([&] { return received == 3; }));
}

TEST_F(ServerLife, HoldsCallsBackForSecondsWhereNoMainLoopRuns) {
    const auto opened = std::chrono::steady_clock::now();
    ASSERT_TRUE(server.TCServer::CreateDBusServer());
    RawClient client;
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_GE(std::chrono::steady_clock::now() - opened, std::chrono::milliseconds(4900));
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":2})").payload, R"({"a":2})");
}

TEST_F(ServerLife, ClosesAtOnceWhileACallIsHeldBack) {
    ASSERT_TRUE(server.TCServer::CreateDBusServer());
    RawClient client;
    client.Send("test.Server", "", R"({"a":1})");
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        ADD_FAILURE() << "it is closed";
    };
    server.CloseDBusServer();
}

TEST_F(ServerLife, ClosesOnlyWhenNoCallbackRunsAnyMore) {
    Gate inCallback;
    Gate goOn;
    std::atomic<bool> returned{false};
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        inCallback.Open();
        goOn.Wait();
        returned = true;
    };
    server.CreateDBusServer();
    RawClient client;
    client.Send("test.Server", "", "");
    ASSERT_TRUE(inCallback.Wait());
    std::thread release([&] { goOn.Open(); });
    server.CloseDBusServer();
    EXPECT_TRUE(returned);
    release.join();
}

TEST_F(ServerLife, DeliversNothingAfterItsEndThatStillWaitedInATasksQueue) {
    Quill::TCTask task("task");
    std::atomic<int> received{0};
    Gate asked;
    server.onTransfer = [&](const char*, const TCMessage*, TCEventIO*& target) {
        target = &task;
        asked.Open();
        return true;
    };
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) { ++received; };
    server.CreateDBusServer();
    RawClient client;
    client.Send("test.Server", "", "");
    ASSERT_TRUE(asked.Wait());
    server.CloseDBusServer(); // the task has no thread yet, the message waits
    task.Create("task", true, 0);
    task.Destroy();
    EXPECT_EQ(received, 0);
}

TEST_F(ServerLife, ClosesThoughACallbackWaitsForAnAnswerThatNeverComes) {
    Quill::TCTask task("task");
    task.Create("task", true, 0);
    RawClient silent; // takes the call and never looks at it
    silent.RequestName("test.Silent");
    Gate calling;
    int result = 0;
    server.onTransfer = [&](const char*, const TCMessage*, TCEventIO*& target) {
        target = &task;
        return true;
    };
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char*) {
        calling.Open();
        result = server.SendMessage("test.Silent", message, true, nullptr);
    };
    server.CreateDBusServer();
    RawClient client;
    client.Send("test.Server", "", "");
    ASSERT_TRUE(calling.Wait());
    const auto before = std::chrono::steady_clock::now();
    server.CloseDBusServer();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20))
        << "it has waited for the call's own limit";
    EXPECT_EQ(result, -ENOTCONN);
    task.Destroy();
}

TEST_F(ServerLife, KeepsASubscriptionThatIsUnderWayWhenTheBusEnds) {
    std::atomic<bool> isReceived = false;
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        isReceived = true;
    };
    server.CreateDBusServer();
    bus.Pause();
    Caller subscribing(
        [this] { return server.SubscribeSignal(nullptr, "news", nullptr, nullptr); });
    EXPECT_TRUE(subscribing.IsWaiting());
    bus.Kill();
    EXPECT_TRUE(subscribing.Join());
    bus.Start();
    RawClient client;
    EXPECT_TRUE(WaitUntil([&] {
        client.SendSignal("news", {"news", "", ""});
        return isReceived.load();
    }));
    server.CloseDBusServer(); // more of them may be under way
}

// The last call is another's, which goes ahead: the others have been taken off by then.
TEST_F(ServerLife, ActsOnWhatItHasTakenOffABusThatHasGoneMeanwhile) {
    constexpr int CALLS = 100;
    Gate inside;
    Gate haveCome;
    std::atomic<int> calls{0};
    std::atomic<bool> isGone{false};
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char*) {
        inside.Open();
        haveCome.Wait();
        if (message->subject == "other") {
            bus.Kill();
            isGone = true;
        } else if (!isGone) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ++calls;
    };
    server.CreateDBusServer();
    {
        RawClient client;
        RawClient other;
        client.Send("test.Server", "", "");
        ASSERT_TRUE(inside.Wait());
        for (int call = 1; call < CALLS; ++call) {
            client.Send("test.Server", "", "");
        }
        EXPECT_TRUE(client.NameHasOwner("test.Server")); // the bus has them
        other.Send("test.Server", "other", "");
        EXPECT_TRUE(other.NameHasOwner("test.Server"));
    }
    haveCome.Open();
    EXPECT_TRUE(WaitUntil([&] { return calls == CALLS + 1; }));
    bus.Start();
    RawClient client;
    EXPECT_TRUE(WaitUntil([&] { return client.Call("test.Server", "", "").error.empty(); }));
    server.CloseDBusServer(); // the last callback has returned then
}

// The third call is taken off the bus while the second one's callback waits, and the second while
// the first one's does.
TEST_F(ServerLife, DeliversNothingOfItsFormerLifeWhenItIsCreatedAgain) {
    TestServer peer("test.Peer");
    peer.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        TCMessage second;
        second.subject = "second";
        EXPECT_EQ(peer.SendMessage("test.Server", &second, false, nullptr), 0);
    };
    RawClient silent; // takes the call and never looks at it
    silent.RequestName("test.Silent");
    Gate waiting;
    std::vector<std::string> order;
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char*) {
        order.push_back(message->subject);
        if (message->subject == "first") {
            server.SendMessage("test.Peer", message, true, nullptr);
        } else if (message->subject == "second") {
            waiting.Open();
            server.SendMessage("test.Silent", message, true, nullptr);
        }
    };
    server.CreateDBusServer();
    peer.CreateDBusServer();
    RawClient client;
    client.Send("test.Server", "first", "");
    ASSERT_TRUE(waiting.Wait());
    client.Send("test.Server", "third", "");
    client.CallMember("test.Server", "/", "org.freedesktop.DBus.Peer", "Ping", {});
    server.CloseDBusServer();
    server.CreateDBusServer();
    client.Call("test.Server", "fourth", "");
    client.Call("test.Server", "fifth", "");
    server.CloseDBusServer();
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "fourth", "fifth"}));
}

TEST_F(ServerLife, RefusesToBeClosedFromItsOwnCallback) {
    server.onReceived = [&](const char*, const TCMessage*, TCMessage* reply, const char*) {
        server.CloseDBusServer();
        reply->payload["open"] = true;
    };
    server.CreateDBusServer();
    RawClient client;
    EXPECT_EQ(client.Call("test.Server", "", "").payload, R"({"open":true})");
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR,
                                "endpoint test.Server cannot be closed from its own callback"),
              1);
}

TEST_F(ServerLife, SaysSoWhenItsNameIsNoBusName) {
    TestServer wrong("not a name");
    EXPECT_FALSE(wrong.CreateDBusServer());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "endpoint 'not a name': "), 1);
}

TEST_F(ServerLife, SaysOnceThatTheBusRefusesItsNameAndGoesOnTrying) {
    constexpr const char* BUS = "org.freedesktop.DBus";
    TestServer refused(BUS);
    EXPECT_FALSE(refused.CreateDBusServer());
    const auto connections = [] { // so far
        return std::stoi(RawClient().UniqueName().substr(std::string_view(":1.").size()));
    };
    const int before = connections();
    int own = 1; // what asks is one itself
    EXPECT_TRUE(WaitUntil([&] { return connections() - before - own++ >= 2; }));
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, std::string("endpoint ") + BUS +
                                                         ": the bus refuses the name " + BUS +
                                                         ": Invalid argument; trying again"),
              1);
}

TEST_F(ServerLife, WaitsInLineForANameThatSomebodyElseOwns) {
    auto first = std::make_unique<RawClient>();
    first->RequestName("test.Server");
    EXPECT_TRUE(server.CreateDBusServer());
    EXPECT_EQ(
        LogCapture::CountBeginning(DLOG_WARN, "endpoint test.Server: the name has another owner"),
        1);
    first.reset();
    RawClient client;
    EXPECT_TRUE(WaitUntil(
        [&] { return client.Call("test.Server", "", R"({"a":1})").payload == R"({"a":1})"; }));
}

TEST_F(ServerLife, ComesUpWithoutABusAndTakesItsPlaceWhenThereIsOne) {
    bus.Kill();
    server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
    Gate heard;
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char* signal) {
        if (signal != nullptr) {
            heard.Open();
        }
    };
    EXPECT_FALSE(server.CreateDBusServer());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "endpoint test.Server: cannot connect"), 1);
    const TCMessage message;
    EXPECT_EQ(Quill::TCServer::SendSignal("test.Server", "news", &message), -ENOTCONN);
    bus.Start();
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "endpoint test.Server is on the bus again"));
    RawClient client;
    EXPECT_EQ(client.Call("test.Server", "", "").error, "");
    client.SendSignal("news", {"news", "", ""});
    EXPECT_TRUE(heard.Wait());
}

TEST_F(ServerLife, TakesItsNameAndItsSubscriptionsAgainWhenTheBusComesBack) {
    Gate heard;
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply,
                            const char* signal) {
        if (signal != nullptr) {
            heard.Open();
        } else {
            *reply = *message;
        }
    };
    server.CreateDBusServer();
    server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
    bus.Kill();
    ASSERT_TRUE(WaitUntil([] {
        return LogCapture::CountBeginning(DLOG_WARN, "endpoint test.Server has lost the bus") == 1;
    }));
    bus.Start();
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "endpoint test.Server is on the bus again"));
    RawClient client;
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})");
    client.SendSignal("news", {"news", "", ""});
    EXPECT_TRUE(heard.Wait());
}

TEST_F(ServerLife, SaysAtEachLossOfTheBusThatItCannotConnect) {
    const auto said = [] {
        return LogCapture::CountBeginning(DLOG_ERROR, "endpoint test.Server: cannot connect");
    };
    server.CreateDBusServer();
    for (int loss = 1; loss <= 2; ++loss) {
        const int before = said();
        bus.Kill();
        EXPECT_TRUE(WaitUntil([&] { return said() > before; })) << loss;
        bus.Start();
        ASSERT_TRUE(
            LogCapture::WaitFor(DLOG_WARN, "endpoint test.Server is on the bus again", loss));
    }
}

TEST_F(ServerLife, EndsADeliveryWhoseBusHasGoneAndAnswersNobody) {
    Quill::TCTask task("task");
    task.Create("task", true, 0);
    Gate inCallback;
    Gate goOn;
    Gate returned;
    server.onTransfer = [&](const char*, const TCMessage*, TCEventIO*& target) {
        target = &task;
        return true;
    };
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        inCallback.Open();
        goOn.Wait();
        returned.Open();
    };
    server.CreateDBusServer();
    auto client = std::make_unique<RawClient>();
    client->Send("test.Server", "", "");
    ASSERT_TRUE(inCallback.Wait());
    bus.Kill();
    bus.Start();
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "endpoint test.Server is on the bus again"));
    goOn.Open();
    ASSERT_TRUE(returned.Wait());
    RawClient again;
    EXPECT_EQ(again.Call("test.Server", "", "").error, "");
    server.CloseDBusServer();
    task.Destroy();
}

TEST_F(ServerLife, EndsACallThatWaitsWhenTheBusGoes) {
    TestServer client("test.Client");
    Gate inCallback;
    Gate goOn;
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        inCallback.Open();
        goOn.Wait();
    };
    server.CreateDBusServer();
    client.CreateDBusServer();
    int result = 0;
    std::thread caller([&] {
        const TCMessage message;
        result = client.SendMessage("test.Server", &message, true, nullptr);
    });
    ASSERT_TRUE(inCallback.Wait());
    bus.Kill();
    caller.join();
    goOn.Open();
    server.CloseDBusServer(); // the callback uses the gates
    EXPECT_LT(result, 0);
}

TEST_F(ServerLife, GoesWithItsConnectionsAndThreadsWhenItIsDestroyedAtOnce) {
    for (int i = 0; i < 20; ++i) {
        TestServer brief("test.Brief");
        EXPECT_TRUE(brief.CreateDBusServer());
    }
    bus.Kill();
    for (int i = 0; i < 20; ++i) {
        TestServer brief("test.Brief");
        EXPECT_FALSE(brief.CreateDBusServer());
    }
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Caller.h"
#include "DeathTest.h"
#include "Gate.h"
#include "PrivateBus.h"
#include "ProcessUse.h"
#include "RawClient.h"
#include "TestServer.h"
#include "WaitUntil.h"

namespace {

using Quill::TCMessage;

class ServerClient : public testing::Test {
protected:
    ServerClient() {
        server.CreateDBusServer();
        client.CreateDBusServer();
    }

    PrivateBus bus;
    TestServer server;
    TestServer client{"test.Client"};
};

TEST_F(ServerClient, SendsACallAndWaitsForItsAnswer) {
    TCMessage message;
    message.subject = "subject";
    message.payload["a"] = 1;
    TCMessage reply;
    ASSERT_EQ(client.SendMessage("test.Server", &message, true, &reply), 0);
    EXPECT_EQ(reply.subject, "subject");
    EXPECT_EQ(reply.payload["a"], 1);
    EXPECT_EQ(client.SendMessage("test.Server", &message, true, nullptr), 0);
}

TEST_F(ServerClient, GivesTheAnswerToACallThatDidntWaitToItsCallback) {
    Gate replied;
    std::string text;
    client.onReplied = [&](const char* sender, const TCMessage* message) {
        text = std::string(sender) + " " + message->payload["a"].asString();
        replied.Open();
    };
    TCMessage message;
    message.payload["a"] = "b";
    ASSERT_EQ(client.SendMessage("test.Server", &message, false, nullptr), 0);
    ASSERT_TRUE(replied.Wait());
    EXPECT_EQ(text, "test.Server b");
}

TEST_F(ServerClient, LeavesTheReplyAloneWhenTheCallFails) {
    TCMessage message;
    TCMessage reply;
    reply.subject = "untouched";
    EXPECT_EQ(client.SendMessage("nobody.here", &message, true, &reply), -EHOSTUNREACH);
    // The bus itself has no such object.
    EXPECT_EQ(client.SendMessage("org.freedesktop.DBus", &message, true, &reply), -EREMOTEIO);
    EXPECT_EQ(client.SendMessage("not a name", &message, true, &reply), -EINVAL);
    EXPECT_EQ(client.SendMessage(nullptr, &message, true, &reply), -EINVAL);
    EXPECT_EQ(client.SendMessage("test.Server", nullptr, true, &reply), -EINVAL);
    message.payload["text"] = std::string(33UL * 1024 * 1024, 'x');
    EXPECT_EQ(client.SendMessage("test.Server", &message, true, &reply), -EMSGSIZE);
    EXPECT_EQ(reply.subject, "untouched");
}

TEST_F(ServerClient, TellsAReplyThatIsLargerThanTheBusTakes) {
    server.onReceived = [](const char*, const TCMessage*, TCMessage* reply, const char*) {
        reply->payload["text"] = std::string(33UL * 1024 * 1024, 'x');
    };
    const TCMessage message;
    EXPECT_EQ(client.SendMessage("test.Server", &message, true, nullptr), -EOVERFLOW);
}

TEST_F(ServerClient, TellsWhetherAnEndpointIsThere) {
    EXPECT_EQ(client.Ping("test.Server"), 0);
    EXPECT_EQ(client.Ping("nobody.here"), -EHOSTUNREACH);
    EXPECT_EQ(client.Ping("not a name"), -EINVAL);
    EXPECT_EQ(client.Ping(nullptr), -EINVAL);
    client.CloseDBusServer();
    EXPECT_EQ(client.Ping("test.Server"), -ENOTCONN);
}

TEST_F(ServerClient, MayCallFromItsOwnCallbackAndKeepsWhatComesMeanwhile) {
    // The server asks the client back before it answers; the client's second call waits in line.
    std::vector<std::string> order;
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        order.push_back(message->subject);
        if (message->subject == "outer") {
            TCMessage question;
            TCMessage answer;
            question.subject = "question";
            EXPECT_EQ(server.SendMessage("test.Client", &question, true, &answer), 0);
            *reply = answer;
        }
    };
    client.onReceived = [&](const char*, const TCMessage*, TCMessage* reply, const char*) {
        TCMessage second;
        second.subject = "second";
        EXPECT_EQ(client.SendMessage("test.Server", &second, false, nullptr), 0);
        reply->payload["answer"] = 42;
    };
    TCMessage message;
    message.subject = "outer";
    TCMessage reply;
    ASSERT_EQ(client.SendMessage("test.Server", &message, true, &reply), 0);
    EXPECT_EQ(reply.payload["answer"], 42);
    TCMessage last;
    last.subject = "last";
    ASSERT_EQ(client.SendMessage("test.Server", &last, true, nullptr), 0);
    EXPECT_EQ(order, (std::vector<std::string>{"outer", "second", "last"}));
}

TEST_F(ServerClient, KeepsTheOrderWhereCallbackAfterCallbackWaits) {
    std::vector<std::string> order;
    Gate answered;
    Gate sent;
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char*) {
        order.push_back(message->subject);
        if (message->subject == "A" || message->subject == "B") {
            TCMessage question;
            question.subject = message->subject;
            EXPECT_EQ(server.SendMessage("test.Client", &question, true, nullptr), 0);
        }
        if (message->subject == "B") {
            answered.Open();
            EXPECT_TRUE(sent.Wait());
        }
    };
    const auto send = [this](const char* subject) {
        TCMessage message;
        message.subject = subject;
        EXPECT_EQ(client.SendMessage("test.Server", &message, false, nullptr), 0);
    };
    client.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char*) {
        send(message->subject == "A" ? "B" : "C");
    };
    send("A");
    ASSERT_TRUE(answered.Wait());
    send("D");
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // for it to arrive
    sent.Open();
    TCMessage last;
    last.subject = "last";
    ASSERT_EQ(client.SendMessage("test.Server", &last, true, nullptr), 0);
    EXPECT_EQ(order, (std::vector<std::string>{"A", "B", "C", "D", "last"}));
}

// The bus is asked again behind each.
TEST_F(ServerClient, LetsNobodysManyCallsHoldUpAnothersOne) {
    constexpr int MANY = 100;
    Gate inside;
    Gate haveCome;
    bool hasOtherCome = false;
    std::vector<std::string> order;
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char*) {
        hasOtherCome = hasOtherCome || message->subject == "other";
        if (!hasOtherCome) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        order.push_back(message->subject);
        inside.Open();
        EXPECT_TRUE(haveCome.Wait());
    };
    RawClient busy;
    RawClient other;
    busy.Send("test.Server", "0", "");
    ASSERT_TRUE(inside.Wait());
    for (int count = 1; count < MANY; ++count) {
        if (count == MANY / 2) {
            busy.RequestName("test.Busy"); // it stays the same sender
        }
        busy.Send("test.Server", std::to_string(count), "");
    }
    EXPECT_TRUE(busy.NameHasOwner("test.Server")); // the bus has them
    other.Send("test.Server", "other", "");
    EXPECT_TRUE(other.NameHasOwner("test.Server"));
    haveCome.Open();
    EXPECT_EQ(busy.Call("test.Server", "last", "").error, "");
    ASSERT_EQ(order.size(), MANY + 2U);
    const auto others = std::find(order.begin(), order.end(), "other");
    EXPECT_LT(others - order.begin(), MANY * 3 / 4);
    order.erase(others);
    order.pop_back();
    for (int count = 0; count < MANY; ++count) {
        EXPECT_EQ(order[static_cast<std::size_t>(count)], std::to_string(count));
    }
}

TEST_F(ServerClient, LeavesWithTheBusWhatItHasNoRoomFor) {
    constexpr int CALLS = 2400;
    constexpr int ACTED_ON = 300;
    constexpr std::size_t LARGE = 16UL << 10;
    Gate enough;
    Gate end;
    std::atomic<int> calls{0};
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        if (calls < ACTED_ON) { // behind each of them many more might be taken off
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (++calls == ACTED_ON) {
            enough.Open();
            end.Wait();
        }
    };
    RawClient busy;
    const std::size_t before = AnonymousMemory(getpid());
    std::thread writing([&busy] {
        const std::string payload = R"({"a":")" + std::string(LARGE, 'x') + "\"}";
        for (int call = 0; call < CALLS; ++call) {
            busy.Send("test.Server", "", payload);
        }
    });
    EXPECT_TRUE(enough.Wait());
    const std::size_t after = AnonymousMemory(getpid());
    end.Open();
    writing.join();
    EXPECT_TRUE(WaitUntil([&] { return calls == CALLS; }));
    server.CloseDBusServer(); // the last callback has returned then
    if (!UNDER_SANITIZER) {   // which keep what is freed
        EXPECT_LT(after, before + (20UL << 20));
    }
}

TEST_F(ServerClient, KnowsThatItWasTheBusThatEndedAheadOfTheAnswer) {
    Gate inside;
    Gate finish;
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        inside.Open();
        finish.Wait();
    };
    Caller calling([this] {
        const TCMessage message;
        return client.SendMessage("test.Server", &message, true, nullptr);
    });
    ASSERT_TRUE(inside.Wait());
    bus.Kill();
    EXPECT_EQ(calling.Join(), -ENOTCONN);
    finish.Open();
    server.CloseDBusServer(); // the callback has returned then
}

TEST_F(ServerClient, KnowsThatTheBusEndedInItsOwnCallbackToo) {
    Gate inside;
    Gate finish;
    std::atomic<int> result{0};
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        inside.Open();
        finish.Wait();
    };
    client.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char*) {
        result = client.SendMessage("test.Server", message, true, nullptr);
    };
    RawClient asking;
    asking.Send("test.Client", "", "");
    ASSERT_TRUE(inside.Wait());
    bus.Kill();
    EXPECT_TRUE(WaitUntil([&] { return result != 0; }));
    EXPECT_EQ(result, -ENOTCONN);
    finish.Open();
    client.CloseDBusServer(); // the callbacks have returned then
    server.CloseDBusServer();
}

TEST_F(ServerClient, HasNoConnectionAfterItIsClosed) {
    client.CloseDBusServer();
    const TCMessage message;
    EXPECT_EQ(client.SendMessage("test.Server", &message, true, nullptr), -ENOTCONN);
}

} // namespace

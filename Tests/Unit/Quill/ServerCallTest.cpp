// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>

#include "Gate.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "TCTask.h"
#include "TestServer.h"

namespace {

using Quill::TCEventIO;
using Quill::TCMessage;
using Quill::TCTask;

class ServerCall : public testing::Test {
protected:
    PrivateBus bus;
    TestServer server;
    RawClient client;
};

TEST_F(ServerCall, AnswersACallWithWhatTheCallbackFills) {
    server.onReceived = [](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        reply->payload["twice"] = message->payload["number"].asInt() * 2;
        reply->subject = "to " + message->subject;
    };
    ASSERT_TRUE(server.CreateDBusServer());
    const RawClient::Reply reply = client.Call("test.Server", "me", R"({"number":21})");
    EXPECT_EQ(reply.error, "");
    EXPECT_EQ(reply.subject, "to me");
    EXPECT_EQ(reply.payload, R"({"twice":42})");
}

TEST_F(ServerCall, HandsAnEmptyPayloadOnAsEmptyAndAnEmptyReplyBackAsEmpty) {
    bool empty = false;
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        empty = message->payload.empty() && reply->payload.empty();
    };
    server.CreateDBusServer();
    const RawClient::Reply reply = client.Call("test.Server", "me", "");
    EXPECT_TRUE(empty);
    EXPECT_EQ(reply.error, "");
    EXPECT_EQ(reply.payload, "");
}

TEST_F(ServerCall, HasNoSignalNameInACall) {
    const char* signal = "unset";
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char* name) {
        signal = name;
    };
    server.CreateDBusServer();
    client.Call("test.Server", "", "");
    EXPECT_EQ(signal, nullptr);
}

TEST_F(ServerCall, RunsTheDeliveryOnTheTargetsThreadWithTheSameMessage) {
    TCTask task("task");
    task.Create("task", true, 0);
    std::thread::id asked;
    std::thread::id delivered;
    const TCMessage* first = nullptr;
    const TCMessage* second = nullptr;
    server.onTransfer = [&](const char*, const TCMessage* message, TCEventIO*& target) {
        asked = std::this_thread::get_id();
        first = message;
        target = &task;
        return true;
    };
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        delivered = std::this_thread::get_id();
        second = message;
        *reply = *message;
    };
    server.CreateDBusServer();
    EXPECT_EQ(client.Call("test.Server", "s", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_NE(asked, delivered);
    EXPECT_EQ(first, second);
    server.CloseDBusServer();
    task.Destroy();
}

TEST_F(ServerCall, StaysOnTheDispatchingThreadWithoutATarget) {
    std::vector<std::thread::id> threads;
    bool transfer = false;
    server.onTransfer = [&](const char*, const TCMessage*, TCEventIO*&) {
        threads.push_back(std::this_thread::get_id());
        return transfer; // true with no target counts as false
    };
    server.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        threads.push_back(std::this_thread::get_id());
    };
    server.CreateDBusServer();
    EXPECT_EQ(client.Call("test.Server", "", "").error, "");
    transfer = true;
    EXPECT_EQ(client.Call("test.Server", "", "").error, "");
    ASSERT_EQ(threads.size(), 4U);
    EXPECT_EQ(std::count(threads.begin(), threads.end(), threads[0]), 4);
    EXPECT_NE(threads[0], std::this_thread::get_id());
}

TEST_F(ServerCall, ServesAMessageItselfWhoseTargetHasEnded) {
    auto task = std::make_unique<TCTask>("task");
    task->Create("task", true, 0);
    bool gone = false;
    server.onTransfer = [&](const char*, const TCMessage*, TCEventIO*& target) {
        target = task.get();
        task->Destroy();
        if (gone) {
            task.reset();
        }
        return true;
    };
    server.CreateDBusServer();
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})") << "ended";
    gone = true;
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":2})").payload, R"({"a":2})") << "deleted";
}

TEST_F(ServerCall, ReportsASenderByItsNameInTheEndpointsOwnNameSpace) {
    std::string sender;
    server.onReceived = [&](const char* name, const TCMessage*, TCMessage*, const char*) {
        sender = name;
    };
    RawClient early;
    early.RequestName("test.client.Early");
    server.CreateDBusServer();

    client.Call("test.Server", "", "");
    EXPECT_EQ(sender, client.UniqueName());
    early.Call("test.Server", "", "");
    EXPECT_EQ(sender, "test.client.Early") << "owned before the endpoint came";
    client.RequestName("elsewhere.client");
    client.Call("test.Server", "", "");
    EXPECT_EQ(sender, client.UniqueName()) << "another name space";
    client.RequestName("test.client.Late");
    client.Call("test.Server", "", "");
    EXPECT_EQ(sender, "test.client.Late");
    client.ReleaseName("test.client.Late");
    client.Call("test.Server", "", "");
    EXPECT_EQ(sender, client.UniqueName());
}

TEST_F(ServerCall, DoesntHoldUpASendingServiceWhileItDecidesOnATarget) {
    // The callback waits for a lock whose holder is just sending: neither may need the other's.
    std::mutex serviceLock;
    Gate sending;
    Gate asking;
    server.onTransfer = [&](const char*, const TCMessage*, TCEventIO*&) {
        asking.Open();
        const std::scoped_lock lock(serviceLock);
        return false;
    };
    server.CreateDBusServer();
    std::thread service([&] {
        const std::scoped_lock lock(serviceLock);
        sending.Open();
        asking.Wait();
        TCMessage notification;
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(Quill::TCServer::SendSignal("test.Server", "news", &notification), 0);
        }
    });
    ASSERT_TRUE(sending.Wait());
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})");
    service.join();
}

TEST_F(ServerCall, SendsNoReplyToWhoExpectsNone) {
    Gate received;
    server.onReceived = [&](const char*, const TCMessage*, TCMessage* reply, const char*) {
        reply->payload["unwanted"] = true;
        received.Open();
    };
    server.CreateDBusServer();
    client.Send("test.Server", "", "", true);
    ASSERT_TRUE(received.Wait());
    EXPECT_EQ(client.Call("test.Server", "", "").error, "") << "and works on";
}

TEST_F(ServerCall, AnswersALargeReplyAndRefusesOneThatTheBusWouldNotTake) {
    std::size_t size = 0;
    server.onReceived = [&](const char*, const TCMessage*, TCMessage* reply, const char*) {
        reply->payload["text"] = std::string(size, 'x');
    };
    server.CreateDBusServer();
    size = 31UL * 1024 * 1024;
    EXPECT_EQ(client.Call("test.Server", "", "").payload.size(), size + 11);
    size = 33UL * 1024 * 1024;
    EXPECT_EQ(client.Call("test.Server", "", "").error,
              "org.freedesktop.DBus.Error.LimitsExceeded");
    size = 1;
    EXPECT_EQ(client.Call("test.Server", "", "").payload, R"({"text":"x"})")
        << "the connection has survived";
}

TEST_F(ServerCall, MakesAReplysStringsValid) {
    server.onReceived = [](const char*, const TCMessage*, TCMessage* reply, const char*) {
        reply->subject = "a\xFF";
        reply->payload["b\xC3"] = "c\x80";
    };
    server.CreateDBusServer();
    const RawClient::Reply reply = client.Call("test.Server", "", "");
    EXPECT_EQ(reply.error, "");
    EXPECT_EQ(reply.subject, "a\xEF\xBF\xBD");
    EXPECT_EQ(reply.payload, "{\"b\xEF\xBF\xBD\":\"c\xEF\xBF\xBD\"}");
}

TEST_F(ServerCall, ShowsItsInterfaceToIntrospection) {
    server.CreateDBusServer();
    const std::string data = client.Introspect("test.Server");
    EXPECT_NE(data.find("<interface name=\"quill.Endpoint1\">"), std::string::npos) << data;
    EXPECT_NE(data.find("<method name=\"Call\">"), std::string::npos) << data;
    EXPECT_NE(data.find("name=\"payload\""), std::string::npos) << data;
}

TEST_F(ServerCall, OwnsANameWithoutADotBehindQuill) {
    TestServer shell("shell_C");
    shell.CreateDBusServer();
    EXPECT_EQ(client.Call("quill.shell_C", "", R"({"a":1})").payload, R"({"a":1})");
}

TEST_F(ServerCall, ServesManyClientsAndTasksAtOnceAndMixesNothingUp) {
    constexpr int CLIENTS = 4;
    constexpr int CALLS = 200;
    std::vector<std::unique_ptr<TCTask>> tasks;
    for (int i = 0; i < CLIENTS; ++i) {
        tasks.push_back(std::make_unique<TCTask>("task"));
        tasks.back()->Create("task", true, 0);
    }
    server.onTransfer = [&](const char*, const TCMessage* message, TCEventIO*& target) {
        target = tasks[static_cast<std::size_t>(message->payload["client"].asInt())].get();
        return true;
    };
    server.CreateDBusServer();
    std::vector<std::thread> clients;
    for (int i = 0; i < CLIENTS; ++i) {
        clients.emplace_back([i] {
            RawClient own;
            for (int call = 0; call < CALLS; ++call) {
                const std::string payload = R"({"call":)" + std::to_string(call) + R"(,"client":)" +
                                            std::to_string(i) + "}";
                EXPECT_EQ(own.Call("test.Server", "", payload).payload, payload);
            }
        });
    }
    for (std::thread& thread : clients) {
        thread.join();
    }
    server.CloseDBusServer();
    for (const auto& task : tasks) {
        task->Destroy();
    }
}

} // namespace

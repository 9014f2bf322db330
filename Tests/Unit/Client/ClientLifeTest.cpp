// SPDX-License-Identifier: Apache-2.0
#include "ClientTest.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "DeathTest.h"
#include "Gate.h"
#include "RawClient.h"
#include "WaitUntil.h"

namespace {

using hearthd::Client;
using hearthd::Notification;
using hearthd::Reason;
using hearthd::Subscription;
using Quill::TCMessage;

class ClientLife : public ClientTest {};

TEST_F(ClientLife, TakesTheNameOfItsProcessAndGivesItBack) {
    RawClient looker;
    {
        const Client client;
        EXPECT_TRUE(looker.NameHasOwner(ClientName()));
    }
    EXPECT_TRUE(WaitUntil([&] { return !looker.NameHasOwner(ClientName()); }));
    Client again;
    EXPECT_EQ(again.Call("echo", Text("a")), Text("a"));
}

TEST_F(ClientLife, SharesItsConnectionWithTheOthersOfItsProcess) {
    std::vector<std::string> senders;
    router.onReceived = [&](const char* sender, const TCMessage* message, TCMessage* reply,
                            const char*) {
        senders.emplace_back(sender);
        *reply = *message;
    };
    Client one;
    Client two;
    one.Call("echo", Text("a"));
    two.Call("echo", Text("a"));
    EXPECT_EQ(senders, (std::vector<std::string>{ClientName(), ClientName()}));
}

TEST_F(ClientLife, LeavesTheOthersWorking) {
    Gate heard;
    Gate received;
    router.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        received.Open();
    };
    ASSERT_TRUE(router.SubscribeSignal(nullptr, ROUTER_SIGNAL, nullptr, nullptr));
    std::optional<Client> first(std::in_place);
    Client second;
    const Subscription subscription =
        first->Listen("news", [&](const Notification&) { heard.Open(); });
    first.reset();
    second.RequireDaemon();
    second.Send("echo", Text("a"));
    EXPECT_TRUE(received.Wait());
    Notify("news", "one");
    EXPECT_TRUE(heard.Wait()) << "a subscription lives as long as there is a client";
}

TEST_F(ClientLife, EndsAllSubscriptionsWithTheLastOne) {
    Gate begun;
    Gate gate;
    std::atomic<bool> finished = false;
    std::optional<Client> client(std::in_place);
    Subscription subscription = client->Listen("news", [&](const Notification&) {
        begun.Open();
        gate.Wait();
        finished = true;
    });
    Notify("news", "one");
    ASSERT_TRUE(begun.Wait());
    std::thread opener([&] {
        RawClient looker;
        WaitUntil([&] { return !looker.NameHasOwner(ClientName()); });
        gate.Open();
    });
    client.reset();
    EXPECT_TRUE(finished) << "it ended ahead of the listener";
    opener.join();
    subscription.End();
}

TEST_F(ClientLife, LetsGoOfWhatItsListenersHoldWithTheLastOne) {
    std::optional<Client> client(std::in_place);
    auto kept = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = kept;
    Subscription one = client->Listen("news", [kept](const Notification&) {});
    Subscription all = client->ListenToAll([kept](const Notification&) {});
    kept.reset();
    EXPECT_FALSE(watched.expired());
    client.reset();
    EXPECT_TRUE(watched.expired());
}

// With a thread at hand that has served a call before.
TEST_F(ClientLife, EndsTheCallsThatAListenerMakesMeanwhile) {
    Gate begun;
    Gate gate;
    std::optional<Reason> reason;
    std::optional<Client> client(std::in_place);
    Client& last = *client;
    last.CallAsync("echo", Text("a")).get();
    const Subscription subscription = last.Listen("news", [&](const Notification&) {
        begun.Open();
        gate.Wait();
        reason = ReasonOf([&] { last.CallAsync("echo", Text("b")).get(); });
    });
    Notify("news", "one");
    ASSERT_TRUE(begun.Wait());
    std::thread opener([&] {
        RawClient looker;
        WaitUntil([&] { return !looker.NameHasOwner(ClientName()); });
        gate.Open();
    });
    client.reset();
    EXPECT_EQ(reason, Reason::CLIENT_ENDED);
    opener.join();
}

TEST_F(ClientLife, HasNoBusToBeginWith) {
    bus.Kill();
    try {
        const Client client;
        FAIL() << "there is no bus";
    } catch (const hearthd::Failure& failure) {
        EXPECT_EQ(failure.Why(), Reason::NO_BUS);
        EXPECT_NE(std::string(failure.what()).find("there is no message bus at " + bus.Address()),
                  std::string::npos);
    }
    bus.Start();
    ASSERT_TRUE(WaitUntil([] { return RawClient().NameHasOwner(ROUTER); }));
    Client client;
    EXPECT_EQ(client.Call("echo", Text("a")), Text("a"));
}

TEST_F(ClientLife, DoesntBeginInAListener) {
    Gate heard;
    bool refused = false;
    Client client;
    const Subscription subscription = client.Listen("news", [&](const Notification&) {
        try {
            const Client another;
        } catch (const std::logic_error&) {
            refused = true;
        }
        heard.Open();
    });
    Notify("news", "one");
    ASSERT_TRUE(heard.Wait());
    EXPECT_TRUE(refused);
}

// Ends its client in a process of its own, and that otherwise where it lives on.
void EndInAListener() {
    const PrivateBus bus;
    TestServer router(ROUTER);
    router.CreateDBusServer();
    std::optional<Client> client(std::in_place);
    const Subscription subscription =
        client->Listen("news", [&](const Notification&) { client.reset(); });
    TCMessage message;
    message.subject = "news";
    Quill::TCServer::SendSignal(ROUTER, (std::string(ROUTER_SIGNAL) + "news").c_str(), &message);
    Gate().Wait(std::chrono::seconds(10));
}

TEST(ClientLifeDeath, EndsTheProcessWhereAListenerEndsIt) {
    UseFreshProcesses();
    EXPECT_EXIT(EndInAListener(), DiedOfTerminate, "a listener has ended a hearthd::Client");
}

} // namespace

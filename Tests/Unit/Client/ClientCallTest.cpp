// SPDX-License-Identifier: Apache-2.0
#include "ClientTest.h"

#include <fstream>
#include <systemd/sd-bus.h>

#include "Gate.h"
#include "RawClient.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using hearthd::Client;
using hearthd::Reason;
using Quill::TCMessage;
using std::chrono::milliseconds;

constexpr const char* DELIVERY_FAILED = "Delivery failed";

class ClientCall : public ClientTest {
protected:
    void AnswerWith(const Json::Value& payload) {
        router.onReceived = [payload](const char*, const TCMessage*, TCMessage* reply,
                                      const char*) { reply->payload = payload; };
    }

    // The arguments stand in `depth` objects.
    static Json::Value Nested(int depth) {
        Json::Value value(Json::objectValue);
        for (int i = 1; i < depth; ++i) {
            Json::Value outer;
            outer["in"] = value;
            value = outer;
        }
        return value;
    }

    Client client;
};

TEST_F(ClientCall, GivesTheReplyOfTheServiceThatItNames) {
    std::string sender;
    std::string subject;
    router.onReceived = [&](const char* from, const TCMessage* message, TCMessage* reply,
                            const char*) {
        sender = from;
        subject = message->subject;
        reply->payload["answer"] = message->payload;
    };
    EXPECT_EQ(client.Call("echo", Text("hello"))["answer"], Text("hello"));
    EXPECT_EQ(subject, "echo");
    EXPECT_EQ(sender, ClientName());
}

TEST_F(ClientCall, SendsNothingWithoutArguments) {
    bool isEmpty = false;
    router.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        isEmpty = message->payload.isNull();
        reply->payload = 42;
    };
    EXPECT_EQ(client.Call("answer"), 42);
    EXPECT_TRUE(isEmpty);
}

TEST_F(ClientCall, TellsAFailedDeliveryFromAReply) {
    Json::Value failed;
    failed["return_error"] = DELIVERY_FAILED;
    AnswerWith(failed);
    EXPECT_EQ(ReasonOf([&] { client.Call("nobody"); }), Reason::DELIVERY_FAILED);
    EXPECT_EQ(ReasonOf([&] { client.CallAsync("nobody").get(); }), Reason::DELIVERY_FAILED);
    EXPECT_EQ(client.CallEndpoint(ROUTER, "nobody", {}), failed) << "the reply as it is";

    failed["more"] = 1;
    AnswerWith(failed);
    EXPECT_EQ(client.Call("service"), failed);
    Json::Value other;
    other["return_error"] = "a service's own";
    AnswerWith(other);
    EXPECT_EQ(client.Call("service"), other);
}

TEST_F(ClientCall, TellsThatThereIsNoDaemonAndWhatToDo) {
    client.RequireDaemon();
    router.CloseDBusServer();
    EXPECT_EQ(ReasonOf([&] { client.RequireDaemon(); }), Reason::NO_DAEMON);
    try {
        client.Call("echo");
        FAIL() << "there is nobody to answer";
    } catch (const hearthd::Failure& failure) {
        EXPECT_EQ(failure.Why(), Reason::NO_DAEMON);
        EXPECT_NE(std::string(failure.what()).find("at " + bus.Address()), std::string::npos);
        EXPECT_NE(std::string(failure.what()).find("start it"), std::string::npos);
    }
}

TEST_F(ClientCall, WaitsNoLongerThanItsLimitAndGoesOnAfterwards) {
    Gate gate;
    router.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        gate.Wait();
        *reply = *message;
    };
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ReasonOf([&] { client.Call("slow", Text("a"), milliseconds(50)); }),
              Reason::TIMED_OUT);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, Client::LONGEST_WAIT / 2);
    gate.Open();
    EXPECT_EQ(client.Call("slow", Text("b"), milliseconds(20000)), Text("b"));
}

TEST_F(ClientCall, RefusesArgumentsThatTheDaemonWould) {
    EXPECT_EQ(ReasonOf([&] { client.Call("echo", Json::Value(Json::arrayValue)); }),
              Reason::ARGUMENTS_REFUSED);
    EXPECT_EQ(ReasonOf([&] { client.Send("echo", Json::Value("text")); }),
              Reason::ARGUMENTS_REFUSED);
    EXPECT_EQ(client.Call("echo", Nested(Client::DEEPEST_NESTING)),
              Nested(Client::DEEPEST_NESTING));
    EXPECT_EQ(ReasonOf([&] { client.Call("echo", Nested(Client::DEEPEST_NESTING + 1)); }),
              Reason::ARGUMENTS_REFUSED);
}

TEST_F(ClientCall, TellsOfMessagesThatAreLargerThanTheBusTakes) {
    const Json::Value large = Text(std::string(33UL * 1024 * 1024, 'x'));
    EXPECT_EQ(ReasonOf([&] { client.Call("echo", large); }), Reason::ARGUMENTS_TOO_LARGE);
    AnswerWith(large);
    EXPECT_EQ(ReasonOf([&] { client.Call("large"); }), Reason::TOO_MUCH);
}

TEST_F(ClientCall, DoesntWaitWhereItIsAsynchronous) {
    Gate gate;
    router.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        gate.Wait();
        *reply = *message;
    };
    std::future<Json::Value> one = client.CallAsync("echo", Text("one"));
    std::future<Json::Value> two = client.CallAsync("echo", Text("two"));
    EXPECT_EQ(one.wait_for(milliseconds(50)), std::future_status::timeout);
    gate.Open();
    EXPECT_EQ(two.get(), Text("two"));
    EXPECT_EQ(one.get(), Text("one"));
    EXPECT_EQ(client.CallAsync("echo", Text("three")).get(), Text("three"));
}

TEST_F(ClientCall, WithoutAnAnswerIsASignalToTheDaemon) {
    Gate received;
    TCMessage arrived;
    std::string name;
    router.onReceived = [&](const char*, const TCMessage* message, TCMessage*, const char* signal) {
        arrived = *message;
        name = signal == nullptr ? "a call" : signal;
        received.Open();
    };
    ASSERT_TRUE(router.SubscribeSignal(nullptr, ROUTER_SIGNAL, nullptr, nullptr));
    client.Send("echo", Text("hello"));
    ASSERT_TRUE(received.Wait());
    EXPECT_EQ(name, ROUTER_SIGNAL);
    EXPECT_EQ(arrived.subject, "echo");
    EXPECT_EQ(arrived.payload, Text("hello"));
}

TEST_F(ClientCall, FailsWhileThereIsNoBusAndWorksWhenItIsBack) {
    bus.Kill();
    ASSERT_TRUE(WaitUntil(
        [&] { return ReasonOf([&] { client.Call("echo", Text("a")); }) == Reason::NO_BUS; }));
    EXPECT_EQ(ReasonOf([&] { client.Send("echo"); }), Reason::NO_BUS);
    bus.Start();
    EXPECT_TRUE(
        WaitUntil([&] { return !ReasonOf([&] { client.Call("echo", Text("a")); }).has_value(); }));
}

TEST_F(ClientCall, TellsOfAnEndpointWhoseNameIsNone) {
    EXPECT_EQ(ReasonOf([&] { client.CallEndpoint("not a name", "", {}); }), Reason::OTHER);
}

TEST(ClientCallUnderAPolicy, TellsThatItIsRefused) {
    const TemporaryFolder folder;
    const std::string policy = folder.Path() / "policy.conf";
    std::ofstream(policy) << "<busconfig><policy context=\"default\"><allow own=\"*\"/>"
                             "</policy></busconfig>\n"; // and no calls, as on a system's bus
    const PrivateBus bus({.policyFile = policy, .limits = {}});
    TestServer router(ROUTER);
    ASSERT_TRUE(router.CreateDBusServer());
    Client client;
    EXPECT_EQ(ReasonOf([&] { client.Call("echo"); }), Reason::REFUSED);
}

// Somebody with the daemon's name who answers as the test wants.
class ClientCallOfAnOddDaemon : public testing::Test {
protected:
    ClientCallOfAnOddDaemon() { daemon->RequestName(ROUTER); }

    // The next call, which is the test's to unreference.
    sd_bus_message* NextCall() {
        sd_bus_message* call = nullptr;
        WaitUntil([&] {
            sd_bus_message* message = nullptr;
            sd_bus_process(daemon->Bus(), &message);
            if (message != nullptr &&
                sd_bus_message_is_method_call(message, "quill.Endpoint1", "Call") > 0) {
                call = message;
                return true;
            }
            sd_bus_message_unref(message);
            return false;
        });
        return call;
    }

    PrivateBus bus;
    std::unique_ptr<RawClient> daemon = std::make_unique<RawClient>();
    std::optional<Client> client{std::in_place};
};

TEST_F(ClientCallOfAnOddDaemon, TellsThatTheDaemonEndedInTheMidstOfIt) {
    std::future<Json::Value> answer = client->CallAsync("echo");
    sd_bus_message* const call = NextCall();
    ASSERT_NE(call, nullptr);
    sd_bus_message_unref(call);
    daemon.reset();
    EXPECT_EQ(ReasonOf([&] { answer.get(); }), Reason::DAEMON_ENDED);
}

TEST_F(ClientCallOfAnOddDaemon, TellsThatTheReplyIsNoJson) {
    std::future<Json::Value> answer = client->CallAsync("echo");
    sd_bus_message* const call = NextCall();
    ASSERT_NE(call, nullptr);
    sd_bus_reply_method_return(call, "ss", "echo", "{nonsense");
    sd_bus_message_unref(call);
    sd_bus_flush(daemon->Bus());
    EXPECT_EQ(ReasonOf([&] { answer.get(); }), Reason::BAD_REPLY);
}

TEST_F(ClientCallOfAnOddDaemon, EndsWithTheClient) {
    std::future<Json::Value> answer = client->CallAsync("echo");
    sd_bus_message* const call = NextCall();
    ASSERT_NE(call, nullptr);
    client.reset();
    EXPECT_EQ(ReasonOf([&] { answer.get(); }), Reason::CLIENT_ENDED);
    sd_bus_message_unref(call);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <unistd.h>

#include "JsonCodec.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "TestServer.h"

namespace {

constexpr const char* INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs";

class ServerBadInput : public testing::Test {
protected:
    ServerBadInput() {
        server.onReceived = [this](const char*, const Quill::TCMessage* message,
                                   Quill::TCMessage* reply, const char*) {
            ++received;
            if (reply != nullptr) {
                *reply = *message;
            }
        };
        server.SubscribeSignal(nullptr, "news", nullptr, nullptr);
        server.CreateDBusServer();
    }

    // The server still works, and has seen nothing but this.
    void ExpectUntouched() {
        received = 0;
        EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})");
        EXPECT_EQ(received, 1);
    }

    PrivateBus bus;
    TestServer server;
    std::atomic<int> received{0};
    RawClient client;
};

TEST_F(ServerBadInput, RefusesAPayloadThatIsNoJsonObject) {
    for (const char* payload : {"{", "nonsense", "[1]", "1", "null", "{} {}", "{\"a\":1}x", " ",
                                "{\"a\":1,\"a\":2}", "{\"a\":\"\\ud800\"}"}) {
        const RawClient::Reply reply = client.Call("test.Server", "echo", payload);
        EXPECT_EQ(reply.error, INVALID_ARGS) << payload;
        EXPECT_NE(reply.errorText.find("no JSON object"), std::string::npos) << reply.errorText;
    }
    EXPECT_EQ(received, 0);
    ExpectUntouched();
}

TEST_F(ServerBadInput, RefusesAPayloadThatNestsTooDeep) {
    for (const int depth : {200, 5000, 500000}) {
        std::string payload = R"({"a":)";
        payload.append(static_cast<std::size_t>(depth), '[');
        payload.append(static_cast<std::size_t>(depth), ']');
        EXPECT_EQ(client.Call("test.Server", "echo", payload + "}").error, INVALID_ARGS) << depth;
    }
    EXPECT_EQ(received, 0);
    ExpectUntouched();
}

// Millions of empty arrays would take a hundred times the memory of their text.
TEST_F(ServerBadInput, RefusesAPayloadOfTooManyValues) {
    std::string payload = R"({"a":[1)";
    for (std::size_t count = 0; count <= Quill::JsonCodec::MOST_VALUES; ++count) {
        payload += ",[]";
    }
    const RawClient::Reply reply = client.Call("test.Server", "", payload + "]}");
    EXPECT_EQ(reply.error, INVALID_ARGS);
    EXPECT_NE(reply.errorText.find("more than 1000000 values"), std::string::npos)
        << reply.errorText;
    ExpectUntouched();
}

// They would be held as long as their message waits for its turn.
TEST_F(ServerBadInput, TakesNoFileDescriptors) {
    EXPECT_EQ(client.CallWithDescriptor("test.Server", STDIN_FILENO).error,
              "org.freedesktop.DBus.Error.NotSupported")
        << "the bus refuses it";
    ExpectUntouched();
}

TEST_F(ServerBadInput, RefusesOtherArgumentsThanTwoStrings) {
    const auto call = [&](const std::vector<std::string>& arguments) {
        return client
            .CallMember("test.Server", "/quill/endpoint", "quill.Endpoint1", "Call", arguments)
            .error;
    };
    EXPECT_EQ(call({}), INVALID_ARGS);
    EXPECT_EQ(call({"one"}), INVALID_ARGS);
    EXPECT_EQ(call({"one", "{}", "three"}), INVALID_ARGS);
    EXPECT_EQ(client.CallWithNumber("test.Server", 5).error, INVALID_ARGS);
    EXPECT_EQ(received, 0);
    ExpectUntouched();
}

TEST_F(ServerBadInput, RefusesPathsInterfacesAndMembersThatItDoesntHave) {
    const auto call = [&](const char* path, const char* interface, const char* member) {
        return client.CallMember("test.Server", path, interface, member, {"", ""}).error;
    };
    EXPECT_NE(call("/", "quill.Endpoint1", "Call"), "");
    EXPECT_NE(call("/quill/endpoint/below", "quill.Endpoint1", "Call"), "");
    EXPECT_NE(call("/quill/endpoint", "quill.Endpoint2", "Call"), "");
    EXPECT_NE(call("/quill/endpoint", "quill.Endpoint1", "Cull"), "");
    EXPECT_EQ(received, 0);
    ExpectUntouched();
}

TEST_F(ServerBadInput, DropsSignalsThatAreMalformed) {
    client.SendSignal("news", {});
    client.SendSignal("news", {"news"});
    client.SendSignal("news", {"news", "subject"});
    client.SendSignal("news", {"news", "subject", "{}", "more"});
    client.SendSignal("news", {"news", "subject", "{"});
    client.SendSignal("news", {"news", "subject", "[]"});
    client.SendSignal("news", {"other", "subject", "{}"});
    // Signals and calls of one client stay in their order: what comes first has been looked at.
    client.Call("test.Server", "", "{");
    EXPECT_EQ(received, 0);
    ExpectUntouched();
}

TEST_F(ServerBadInput, TakesNoHarmFromAClientThatDiesInTheMiddleOfItsCall) {
    for (int i = 0; i < 20; ++i) {
        RawClient dying;
        dying.RequestName("test.client.Dying");
        dying.Send("test.Server", "", R"({"a":1})");
    }
    EXPECT_EQ(client.Call("test.Server", "", R"({"a":1})").payload, R"({"a":1})");
}

} // namespace

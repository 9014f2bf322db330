// SPDX-License-Identifier: Apache-2.0

// A bus that takes nothing of what it is sent: it hangs, or what others leave unread counts against
// the sender.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <unistd.h>

#include "BusSocket.h"
#include "DeathTest.h"
#include "Dlog.h"
#include "Gate.h"
#include "LogCapture.h"
#include "PrivateBus.h"
#include "ProcessUse.h"
#include "RawClient.h"
#include "TestServer.h"
#include "WaitUntil.h"

namespace {

using Quill::TCMessage;

constexpr std::size_t LARGE = 65536;
constexpr int SIGNALS = 400;
constexpr const char* LOST = "endpoint test.Server has lost the bus: it takes nothing from here "
                             "(does a client not read its replies?); connecting again";
constexpr const char* BACK = "endpoint test.Server is on the bus again";

class ServerStall : public testing::Test {
protected:
    void ExpectAnswer() {
        RawClient client;
        EXPECT_TRUE(WaitUntil(
            [&] { return client.Call("test.Server", "", R"({"a":1})").payload == R"({"a":1})"; }));
    }

    // With a bus that is paused.
    void ExpectLossAndReturn() {
        EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, LOST));
        bus.Continue();
        EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, BACK));
        ExpectAnswer();
    }

    // More than the socket holds, which sd-bus asks for 8 MiB.
    void SendSignals() {
        TCMessage message;
        message.payload["a"] = std::string(LARGE, 'x');
        for (int count = 0; count < SIGNALS; ++count) {
            EXPECT_EQ(TestServer::SendSignal("test.Server", "Large", &message), 0);
        }
    }

    // What others leave unread counts early against the sender, and late against themselves.
    PrivateBus bus{{.policyFile = {}, .limits = R"(<limit name="max_incoming_bytes">1000000</limit>
<limit name="max_outgoing_bytes">1000000000</limit>
<limit name="max_replies_per_connection">50000</limit>)"}};
    TestServer server;
};

TEST_F(ServerStall, IsLostWithABusThatHangsAndBackWithIt) {
    ASSERT_TRUE(server.CreateDBusServer());
    bus.Pause();
    SendSignals();
    ExpectLossAndReturn();
}

TEST_F(ServerStall, IsLostThoughTheSocketHasRoomForMore) {
    ASSERT_TRUE(server.CreateDBusServer());
    bus.Pause();
    const TCMessage message;
    EXPECT_EQ(TestServer::SendSignal("test.Server", "Small", &message), 0);
    ExpectLossAndReturn();
}

TEST_F(ServerStall, LosesNothingWhereTheBusGoesOnInTime) {
    ASSERT_TRUE(server.CreateDBusServer());
    RawClient client;
    client.Match("type='signal'");
    bus.Pause();
    SendSignals();
    bus.Continue();
    for (int count = 0; count < SIGNALS; ++count) {
        ASSERT_TRUE(client.Next().has_value()) << count;
    }
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, LOST), 0);
}

// With so much queued, small as it is, that nothing more is taken out.
TEST_F(ServerStall, IsLostWithABusThatEndsWhileItHangs) {
    ASSERT_TRUE(server.CreateDBusServer());
    bus.Pause();
    const TCMessage message;
    for (int count = 0; count < 60000; ++count) {
        EXPECT_EQ(TestServer::SendSignal("test.Server", "Small", &message), 0);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // for a look at that
    bus.Kill();
    bus.Start();
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, BACK));
    ExpectAnswer();
}

TEST_F(ServerStall, ClosesThoughTheBusHangs) {
    ASSERT_TRUE(server.CreateDBusServer());
    bus.Pause();
    SendSignals();
    server.CloseDBusServer();
    bus.Continue();
    EXPECT_TRUE(server.CreateDBusServer());
    ExpectAnswer();
}

// Nobody looks at the bus while the thread that does is in a callback.
TEST_F(ServerStall, IsntWhatALongCallbackLeavesBehind) {
    Gate paused;
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        if (message->subject == "long") {
            std::this_thread::sleep_for(std::chrono::milliseconds(5500));
            bus.Pause(); // so that the reply isn't read at once
            paused.Open();
        }
        *reply = *message;
    };
    ASSERT_TRUE(server.CreateDBusServer());
    std::thread calls([] {
        RawClient client;
        client.Call("test.Server", "short", "{}");
        EXPECT_EQ(client.Call("test.Server", "long", "{}").error, "");
    });
    EXPECT_TRUE(paused.Wait());
    std::this_thread::sleep_for(std::chrono::seconds(1)); // for the first looks
    bus.Continue();
    calls.join();
    ExpectAnswer();
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, LOST), 0);
}

// Calls that were taken out ahead of their time are acted on when their answers can be written.
TEST_F(ServerStall, ActsOnNothingMoreWhereTooMuchWaitsToBeWritten) {
    constexpr int CALLS = 300;
    constexpr int MOST = 150; // 16 MiB in the socket, 8 in the queue, and some
    Gate inside;
    Gate haveCome;
    std::atomic<int> calls{0};
    server.onReceived = [&](const char*, const TCMessage*, TCMessage* reply, const char*) {
        ++calls;
        inside.Open();
        haveCome.Wait();
        reply->payload["a"] = std::string(4 * LARGE, 'x');
    };
    ASSERT_TRUE(server.CreateDBusServer());
    BusSocket deaf;
    for (int call = 0; call < CALLS; ++call) {
        ASSERT_TRUE(deaf.Write(deaf.Call("test.Server", "", "{}")));
    }
    ASSERT_TRUE(deaf.Write(deaf.Introspect("org.freedesktop.DBus")));
    ASSERT_TRUE(deaf.WaitForInput()); // the bus has them all
    ASSERT_TRUE(inside.Wait());
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // for it to hand them over
    bus.Pause();
    haveCome.Open();
    std::this_thread::sleep_for(std::chrono::seconds(1)); // for those that may be answered
    EXPECT_LT(calls, MOST);
    deaf.Shutdown();
    bus.Continue();
    EXPECT_TRUE(WaitUntil([&] { return calls == CALLS; }));
    server.CloseDBusServer(); // the last callback has returned then
}

// What sd-bus answers by itself fills the socket too.
TEST_F(ServerStall, IsLostWhereNothingIsReadOfWhatItIsAskedAboutItself) {
    ASSERT_TRUE(server.CreateDBusServer());
    const std::size_t before = AnonymousMemory(getpid());
    BusSocket deaf;
    std::thread calls([&deaf] {
        while (deaf.Write(deaf.Introspect("test.Server"))) {
        }
    });
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, LOST));
    const std::size_t more = AnonymousMemory(getpid()) - before;
    deaf.Shutdown();
    calls.join();
    if (!UNDER_SANITIZER) {
        EXPECT_LT(more, 64U << 20);
    }
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, BACK));
    ExpectAnswer();
}

// The bus stops reading from the server after a million bytes that the client leaves unread. What
// the server then keeps for it is bounded, however much the client calls.
TEST_F(ServerStall, TakesNoMoreCallsThanItCanAnswerFromAClientThatNeverReads) {
    std::atomic<int> received{0};
    server.onReceived = [&](const char*, const TCMessage* message, TCMessage* reply, const char*) {
        ++received;
        *reply = *message;
    };
    ASSERT_TRUE(server.CreateDBusServer());
    BusSocket deaf;
    std::thread calls([&deaf] {
        const std::string payload = R"({"a":")" + std::string(LARGE, 'x') + "\"}";
        while (deaf.Write(deaf.Call("test.Server", "", payload))) {
        }
    });
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, LOST));
    const int answered = received;
    deaf.Shutdown();
    calls.join();
    EXPECT_GT(answered, 100);
    EXPECT_LT(answered, 600) << "some 16 MiB in the socket and 8 MiB here";
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, BACK));
    ExpectAnswer();
}

} // namespace

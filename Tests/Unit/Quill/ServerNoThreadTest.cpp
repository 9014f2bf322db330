// SPDX-License-Identifier: Apache-2.0

// A server for whose dispatching thread the system has none to give.

#include <gtest/gtest.h>

#include <cstdlib>

#include "Dlog.h"
#include "LogCapture.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "RunMainLoop.h"
#include "TestServer.h"
#include "ThreadRefusals.h"
#include "WaitUntil.h"

namespace {

constexpr const char* REFUSED = "endpoint test.Server: cannot start a thread: "
                                "Resource temporarily unavailable; trying again until it works";
constexpr const char* PAYLOAD = R"({"a":1})";

class ServerNoThread : public testing::Test {
protected:
    ServerNoThread() {
        setenv("HEARTHD_THREAD_REFUSALS", refusals.Path().c_str(), 1);
        Refuse(100);
        LogCapture::Clear();
    }
    ~ServerNoThread() override { unsetenv("HEARTHD_THREAD_REFUSALS"); }

    void Refuse(int threads) const { refusals.Refuse(0, threads); }

    static bool IsAnswered() {
        RawClient client;
        return client.Call("test.Server", "", PAYLOAD, std::chrono::seconds(1)).payload == PAYLOAD;
    }

    ThreadRefusals refusals;
    PrivateBus bus;
    TestServer server;
};

TEST_F(ServerNoThread, AnswersWhenTheMainLoopHasFoundOneForIt) {
    EXPECT_FALSE(server.CreateDBusServer());
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, REFUSED), 1);
    EXPECT_FALSE(IsAnswered());
    Refuse(0);
    EXPECT_TRUE(WaitUntil([] {
        RunMainLoop();
        return IsAnswered();
    }));
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, REFUSED), 1) << "it is told once";
}

TEST_F(ServerNoThread, MayBeClosedAndCreatedAgain) {
    EXPECT_FALSE(server.CreateDBusServer());
    server.CloseDBusServer();
    EXPECT_TRUE(WaitUntil([] { return !RawClient().NameHasOwner("test.Server"); }));
    EXPECT_FALSE(server.CreateDBusServer());
    server.CloseDBusServer();
    Refuse(0);
    EXPECT_TRUE(server.CreateDBusServer());
    EXPECT_TRUE(WaitUntil(IsAnswered));
}

// The main loop still asks for its thread once more.
TEST_F(ServerNoThread, MayEndAheadOfTheNextTry) {
    {
        TestServer other("test.Other");
        EXPECT_FALSE(other.CreateDBusServer());
    }
    EXPECT_TRUE(WaitUntil([] { return g_main_context_pending(nullptr) != FALSE; }));
    RunMainLoop();
    EXPECT_EQ(g_main_context_pending(nullptr), FALSE);
    EXPECT_TRUE(WaitUntil([] { return !RawClient().NameHasOwner("test.Other"); }));
}

} // namespace

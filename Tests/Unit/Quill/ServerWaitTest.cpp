// SPDX-License-Identifier: Apache-2.0

// Calls whose answer nobody can take off the bus, for as long as they wait.

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>

#include "Caller.h"
#include "Gate.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "TestServer.h"

namespace {

using Quill::TCMessage;

// Each of the two dispatching threads waits for an answer that only the other one could take out.
TEST(ServerWait, EndsWhereTwoEndpointsOfAProcessCallOverEachOther) {
    const PrivateBus bus;
    TestServer one("test.One");
    TestServer two("test.Two");
    Gate oneIsIn;
    Gate twoIsIn;
    std::atomic<int> overTwo{0};
    std::atomic<int> overOne{0};
    const TCMessage message;
    one.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        oneIsIn.Open();
        twoIsIn.Wait();
        overTwo = two.SendMessage("test.Nobody", &message, true, nullptr);
    };
    two.onReceived = [&](const char*, const TCMessage*, TCMessage*, const char*) {
        twoIsIn.Open();
        oneIsIn.Wait();
        overOne = one.SendMessage("test.Nobody", &message, true, nullptr);
    };
    one.CreateDBusServer();
    two.CreateDBusServer();
    RawClient client;
    Caller first([] { return RawClient().Call("test.One", "", "").error; });
    EXPECT_EQ(client.Call("test.Two", "", "", std::chrono::seconds(60)).error, "");
    first.Join();
    one.CloseDBusServer(); // the callbacks have returned then
    two.CloseDBusServer();
    EXPECT_TRUE(overOne == -ETIMEDOUT || overTwo == -ETIMEDOUT) << overOne << " " << overTwo;
}

} // namespace

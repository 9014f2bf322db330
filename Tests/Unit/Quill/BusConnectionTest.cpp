// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "BusConnection.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "WaitUntil.h"

namespace {

using Quill::BusConnection;
using Quill::Incoming;

class BusConnectionTest : public testing::Test {
protected:
    BusConnectionTest() {
        EXPECT_NE(connection, nullptr) << error;
        EXPECT_EQ(connection->RequestName("test.Server"), 1);
    }
    ~BusConnectionTest() override {
        taken.clear();
        connection->Close();
    }

    // Until nothing more is there now.
    void TakeOutAll() {
        while (connection->TakeOut(taken, 8) > 0) {
        }
    }

    PrivateBus bus;
    std::string error;
    std::shared_ptr<BusConnection> connection = BusConnection::Open("test", error);
    std::vector<Incoming> taken;
};

TEST_F(BusConnectionTest, TakesNothingOutWhereThereIsNoRoom) {
    TakeOutAll();
    RawClient client;
    client.Send("test.Server", "subject", "{}");
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // for it to come
    EXPECT_EQ(connection->TakeOut(taken, 0), 1);
    EXPECT_TRUE(taken.empty());
    EXPECT_TRUE(WaitUntil([this] {
        TakeOutAll();
        return !taken.empty();
    }));
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_STREQ(taken[0].subject, "subject");
    EXPECT_EQ(taken[0].peer, client.UniqueName());
}

TEST_F(BusConnectionTest, TakesFewerLargeMessagesOutAtATime) {
    TakeOutAll();
    std::thread sending([] {
        RawClient client;
        for (int count = 0; count < 30; ++count) {
            client.Send("test.Server", std::string(100000, 'x'), "{}");
        }
    });
    std::size_t most = 0;
    std::size_t all = 0;
    EXPECT_TRUE(WaitUntil([&] {
        connection->TakeOut(taken, 64);
        most = std::max(most, taken.size());
        all += std::exchange(taken, {}).size();
        return all == 30;
    }));
    sending.join();
    EXPECT_LE(most, 11U); // a mebibyte
}

// More than the socket holds, which sd-bus asks for 8 MiB.
TEST_F(BusConnectionTest, WritesWhereThereIsNoRoomForWhatComes) {
    constexpr int SIGNALS = 280;
    TakeOutAll();
    RawClient client;
    client.Match("type='signal',sender='test.Server'");
    client.Send("test.Server", "subject", "{}");
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // for it to come
    bus.Pause();
    const std::string payload = "\"" + std::string(65536, 'x') + "\"";
    for (int count = 0; count < SIGNALS; ++count) {
        EXPECT_EQ(connection->SendSignal("Large", "", payload), 0);
    }
    bus.Continue();
    std::atomic<bool> isHeard{false};
    std::thread writing([this, &isHeard] {
        while (!isHeard) {
            EXPECT_GE(connection->TakeOut(taken, 0), 0);
        }
    });
    int heard = 0;
    while (heard < SIGNALS && client.Next().has_value()) {
        ++heard;
    }
    isHeard = true;
    writing.join();
    EXPECT_EQ(heard, SIGNALS);
    EXPECT_TRUE(taken.empty());
}

} // namespace

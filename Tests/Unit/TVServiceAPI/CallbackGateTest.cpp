// SPDX-License-Identifier: Apache-2.0
#include "CallbackGate.h"

#include <functional>
#include <future>
#include <gtest/gtest.h>

#include "Gate.h"

namespace {

using namespace std::chrono_literals;
using tvservice::CallbackGate;

class CallbackGateTest : public testing::Test {
protected:
    ~CallbackGateTest() override { End(); }

    // Has a call be under way on another thread until End.
    void BeginCall() {
        m_call = std::async(std::launch::async, [this] {
            return gate.Pass([this] {
                m_entered.Open();
                m_leave.Wait();
                hasLeft = true;
            });
        });
        ASSERT_TRUE(m_entered.Wait());
    }
    void End() {
        m_leave.Open();
        if (m_call.valid()) {
            EXPECT_TRUE(m_call.get());
        }
    }
    bool MayPass() {
        bool called = false;
        EXPECT_EQ(gate.Pass([&called] { called = true; }), called);
        return called;
    }

    CallbackGate gate;
    std::atomic<bool> hasLeft = false;

private:
    Gate m_entered;
    Gate m_leave;
    std::future<bool> m_call;
};

TEST_F(CallbackGateTest, LetsCallsThroughUntilItIsClosed) {
    EXPECT_TRUE(MayPass());
    EXPECT_TRUE(MayPass());
    gate.Close();
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, ClosesAtOnceWhereNoCallIsUnderWay) {
    EXPECT_TRUE(gate.TryToClose(0ms));
    EXPECT_FALSE(MayPass());
    EXPECT_TRUE(gate.TryToClose(0ms)) << "once more is nothing special";
    gate.CloseAndWait();
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, LetsACallThatIsUnderWayGoOnWhenItCloses) {
    BeginCall();
    gate.Close();
    EXPECT_FALSE(hasLeft);
    End();
    EXPECT_TRUE(hasLeft);
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, IsOpenAgainWhereTheCallDoesntEndInTime) {
    BeginCall();
    EXPECT_FALSE(gate.TryToClose(1ms));
    EXPECT_FALSE(hasLeft);
    End();
    EXPECT_TRUE(MayPass());
    EXPECT_TRUE(gate.TryToClose(1ms));
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, StaysClosedWhoeverTriesAndGivesUp) {
    BeginCall();
    gate.Close();
    EXPECT_FALSE(gate.TryToClose(1ms));
    End();
    EXPECT_FALSE(MayPass());
}

// One gives up in time, the other one goes on waiting: the gate is closed then.
TEST_F(CallbackGateTest, StaysClosedForWhoWaitsThoughAnotherGivesUp) {
    BeginCall();
    std::future<void> closed = std::async(std::launch::async, [this] { gate.CloseAndWait(); });
    // Some of these meet the other one in its wait.
    for (int round = 0; round < 20; ++round) {
        EXPECT_FALSE(gate.TryToClose(2ms));
    }
    End();
    closed.get();
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, LetsNoCallBeginWhileSomebodyTriesToCloseIt) {
    BeginCall();
    std::future<bool> tried =
        std::async(std::launch::async, [this] { return gate.TryToClose(30s); });
    EXPECT_FALSE(gate.TryToClose(1ms)) << "one gives up";
    End();
    EXPECT_TRUE(tried.get()) << "and the other one doesn't";
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, WaitsForTheEndOfTheCall) {
    BeginCall();
    std::future<void> closed = std::async(std::launch::async, [this] {
        gate.CloseAndWait();
        EXPECT_TRUE(hasLeft);
    });
    EXPECT_EQ(closed.wait_for(20ms), std::future_status::timeout);
    End();
    closed.get();
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, ReturnsWithTheCallThatEndsInTime) {
    BeginCall();
    std::future<bool> closed = std::async(std::launch::async, [this] {
        const bool result = gate.TryToClose(30s);
        EXPECT_TRUE(hasLeft);
        return result;
    });
    EXPECT_EQ(closed.wait_for(20ms), std::future_status::timeout);
    End();
    EXPECT_TRUE(closed.get());
    EXPECT_FALSE(MayPass());
}

TEST_F(CallbackGateTest, MayBeClosedInsideOfTheCall) {
    bool tried = false;
    EXPECT_TRUE(gate.Pass([&] {
        tried = gate.TryToClose(0ms);
        gate.CloseAndWait();
    }));
    EXPECT_TRUE(tried);
    EXPECT_FALSE(MayPass());
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// Services that outlast the ten seconds of a hand-over, at their full length.

#include "HoldTest.h"

#include "Caller.h"
#include "Gate.h"
#include "Program.h"
#include "ThreadRefusals.h"
#include "WaitUntil.h"

namespace {

constexpr const char* TIMEOUT = "> Timeout 10 seconds occured!";
constexpr const char* STILL_LOADED = "Failed to change status. Current service status is loaded\n"
                                     "Failed to change status. Current service status is loaded\n";
constexpr const char* STILL_STARTED =
    "Failed to change status. Current service status is started\n"
    "Failed to change status. Current service status is started\n";

class TenSeconds : public HoldTest {
protected:
    // Calls for the others go on for as long as the line is missing from the log.
    void ExpectProbeAnswersUntil(const std::string& line, int count = 1) const {
        EXPECT_TRUE(WaitUntil([&] {
            ExpectProbeAnswers();
            return CountOf(daemon.Log(), line) >= count;
        }));
    }
};

TEST_F(TenSeconds, OfAStartAreTakenEachTimeAndTheServiceIsStartedWhenItComesLoose) {
    daemon.AddService("held", {.library = "libheld.so", .priority = 5});
    daemon.AddService("probe2", {.library = "libprobe2.so"});
    Hold("start");
    daemon.Start();
    ASSERT_TRUE(IsHeldIn("start"));
    ExpectProbeAnswersUntil(TIMEOUT);
    ASSERT_TRUE(daemon.WaitForLog("> started probe2"));
    EXPECT_EQ(Call("held", PAYLOAD), DELIVERY_FAILED);
    Caller again([this] { return Shell("status-start", "held"); });
    ExpectProbeAnswersUntil(TIMEOUT, 2);
    EXPECT_EQ(again.Join(), STILL_LOADED);
    LetGoOf("start");
    EXPECT_EQ(Shell("status-start", "held"), STARTED_FROM_LOADED);
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

TEST_F(TenSeconds, OfAStopLeaveTheServiceStartedUntilItIsStoppedAgain) {
    daemon.AddService("held", {.library = "libheld.so"});
    Hold("stop");
    StartAndWait();
    Caller stopping([this] { return Shell("status-unload", "held"); });
    ASSERT_TRUE(IsHeldIn("stop"));
    ExpectProbeAnswersUntil(TIMEOUT);
    EXPECT_EQ(stopping.Join(), STILL_STARTED);
    LetGoOf("stop");
    EXPECT_EQ(Shell("status-unload", "held"), UNLOADED);
    EXPECT_EQ(Shell("status-start", "held"), STARTED);
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

// On the service's own thread, where calls from the bus run, a call has no limit.
TEST_F(TenSeconds, AreNoLimitForACallFromTheBusAndItsAnswerComesHoweverLate) {
    daemon.AddService("held", {.library = "libheld.so"});
    Hold("call");
    StartAndWait();
    Caller call([] { return RawClient().Call(ROUTER, "held", PAYLOAD).payload; });
    ASSERT_TRUE(IsHeldIn("call"));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(11);
    while (std::chrono::steady_clock::now() < end) {
        ExpectProbeAnswers();
    }
    EXPECT_FALSE(call.IsDone());
    LetGoOf("call");
    EXPECT_EQ(call.Join(), PAYLOAD);
    EXPECT_EQ(CountOf(daemon.Log(), TIMEOUT), 0);
}

// Without its thread a service can't start; a new one is asked for when it is loaded anew.
TEST_F(TenSeconds, OfAServiceWhoseThreadIsRefusedEndInAFailureAndItIsWellWhenLoadedAgain) {
    daemon.AddService("held", {.library = "libheld.so", .launchType = 1});
    const ThreadRefusals refusals;
    daemon.Preload(HEARTHD_THREAD_REFUSALS);
    daemon.SetEnvironment("HEARTHD_THREAD_REFUSALS", refusals.Path());
    StartAndWait();
    refusals.Refuse(0);
    Caller starting([this] { return Shell("status-start", "held"); });
    ASSERT_TRUE(daemon.WaitForLog("task held_tceventio: cannot start a thread: Resource "
                                  "temporarily unavailable"));
    ExpectProbeAnswersUntil(TIMEOUT);
    EXPECT_EQ(starting.Join(), "State successfully changed to loaded\n"
                               "Failed to change status. Current service status is loaded\n");
    EXPECT_EQ(Call("held", PAYLOAD), DELIVERY_FAILED);
    EXPECT_EQ(Shell("status-unload", "held"),
              "Failed to change status. Current service status is loaded\n"
              "State successfully changed to not-load\n");
    EXPECT_EQ(Shell("status-start", "held"), STARTED);
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

} // namespace

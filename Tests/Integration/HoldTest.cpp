// SPDX-License-Identifier: Apache-2.0

// Services that stand still, for less than the time limits.

#include "HoldTest.h"

#include "Caller.h"
#include "Program.h"

namespace {

using HeldService = HoldTest;

// What waits for the loader's lock waits with it, which threads do that are new to their work.
TEST_F(HeldService, InAConstructorAtTheStartIsMadeUpForWhenItComesLoose) {
    daemon.AddService("held", {.library = "libheld.so", .priority = 5});
    daemon.AddService("probe2", {.library = "libprobe2.so"});
    Hold("constructor");
    daemon.Start();
    ASSERT_TRUE(IsHeldIn("constructor"));
    Caller early([] { return RawClient().Call(ROUTER, "probe", PAYLOAD).payload; });
    LetGoOf("constructor");
    EXPECT_EQ(early.Join(), PAYLOAD);
    ASSERT_TRUE(daemon.WaitForLog("> started probe2"));
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
    EXPECT_EQ(Call("probe2", PAYLOAD), PAYLOAD);
}

TEST_F(HeldService, InAConstructorHoldsUpTheShellOnTheBusAloneUntilItComesLoose) {
    daemon.AddService("held", {.library = "libheld.so", .launchType = 1});
    StartAndWait();
    ExpectProbeAnswers();
    Hold("constructor");
    Caller starting([this] { return Shell("status-start", "held"); });
    ASSERT_TRUE(IsHeldIn("constructor"));
    ExpectProbeAnswers();
    EXPECT_FALSE(starting.IsDone());
    LetGoOf("constructor");
    EXPECT_EQ(starting.Join(), STARTED);
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

TEST_F(HeldService, InAConstructorDoesNotHoldUpAThreadThatHasServedNoCallYet) {
    daemon.AddService("held", {.library = "libheld.so", .launchType = 1});
    StartAndWait();
    Hold("constructor");
    Caller starting([this] { return Shell("status-start", "held"); });
    ASSERT_TRUE(IsHeldIn("constructor"));
    ExpectProbeAnswers();
    LetGoOf("constructor");
    EXPECT_EQ(starting.Join(), STARTED);
}

TEST_F(HeldService, InAStartHoldsUpTheServicesBehindItUntilItComesLoose) {
    daemon.AddService("held", {.library = "libheld.so", .priority = 5});
    daemon.AddService("probe2", {.library = "libprobe2.so"});
    Hold("start");
    daemon.Start();
    ASSERT_TRUE(IsHeldIn("start"));
    ExpectProbeAnswers();
    ASSERT_TRUE(daemon.WaitForLog(SHELL_LISTENS));
    EXPECT_EQ(Shell("list-services", ""), "held\nprobe\nprobe2\n");
    LetGoOf("start");
    ASSERT_TRUE(daemon.WaitForLog("> started probe2"));
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

// The router asks the held service for its state, and waits.
TEST_F(HeldService, InACallHoldsUpTheOthersOnceASecondCallComesForIt) {
    daemon.AddService("held", {.library = "libheld.so"});
    Hold("call");
    StartAndWait();
    Caller first([] { return RawClient().Call(ROUTER, "held", PAYLOAD).payload; });
    ASSERT_TRUE(IsHeldIn("call"));
    ExpectProbeAnswers();
    ExpectProbeAnswers();
    client.Send(ROUTER, "held", PAYLOAD);
    EXPECT_NE(client.Call(ROUTER, "probe", PAYLOAD, std::chrono::seconds(1)).error, "");
    RawClient shell;
    EXPECT_FALSE(shell.Call(DEBUG_SHELL, "", ShellRequest("list-services")).payload.empty());
    LetGoOf("call");
    EXPECT_EQ(first.Join(), PAYLOAD);
    ExpectProbeAnswers();
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

// So does it for a service that is about to start.
TEST_F(HeldService, InAStartHoldsUpTheOthersOnceACallComesForIt) {
    daemon.AddService("held", {.library = "libheld.so", .launchType = 1});
    StartAndWait();
    ExpectProbeAnswers();
    Hold("start");
    Caller starting([this] { return Shell("status-start", "held"); });
    ASSERT_TRUE(IsHeldIn("start"));
    ExpectProbeAnswers();
    RawClient other; // the fixture's waits for the shell
    other.Send(ROUTER, "held", PAYLOAD);
    EXPECT_NE(other.Call(ROUTER, "probe", PAYLOAD, std::chrono::seconds(1)).error, "");
    LetGoOf("start");
    EXPECT_EQ(starting.Join(), STARTED);
    ExpectProbeAnswers();
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

TEST_F(HeldService, InAStopHoldsUpTheShellOnTheBusAloneUntilItComesLoose) {
    daemon.AddService("held", {.library = "libheld.so"});
    Hold("stop");
    StartAndWait();
    Caller stopping([this] { return Shell("status-unload", "held"); });
    ASSERT_TRUE(IsHeldIn("stop"));
    ExpectProbeAnswers();
    Program pipe({"sh", "-c", "echo service-command list-services >" + daemon.Pipe()});
    EXPECT_EQ(pipe.Wait(), 0);
    EXPECT_TRUE(daemon.WaitForLog("> Response from command execution: "));
    EXPECT_FALSE(stopping.IsDone());
    LetGoOf("stop");
    EXPECT_EQ(stopping.Join(), UNLOADED);
    EXPECT_EQ(Shell("status-start", "held"), STARTED);
    EXPECT_EQ(Call("held", PAYLOAD), PAYLOAD);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// Files that can't be written any further: those of the log, of standard output and of the
// configuration. A limit on the size of files stands for the full disk.

#include "KeeperTest.h"

#include <optional>

#include "ProcessLimits.h"

namespace {

constexpr const char* CALLING = "> Calling [probe] API";
constexpr const char* CALLED = "tag: probe_CALL_API";
constexpr const char* NOT_KEPT = R"({"error":"not kept"})";

class NoRoom : public KeeperTest {
protected:
    NoRoom() {
        daemon.AddServices(
            {{"keeper", {.library = "libkeeper.so"}}, {"probe", {.library = "libprobe.so"}}});
        // A limit announces itself by a signal, which a full disk doesn't.
        daemon.SetLauncher({"env", "--ignore-signal=XFSZ"});
    }

    void FillTheDisk() { limit.emplace(daemon.Pid(), RLIMIT_FSIZE, 0); }
    void MakeRoom() { limit.reset(); }

    std::optional<LowLimit> limit;
};

TEST_F(NoRoom, ForTheLogLosesTheLinesOfThatTimeAndNothingElse) {
    StartAndWait();
    EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
    ASSERT_TRUE(daemon.WaitForLog(CALLING));
    ASSERT_TRUE(daemon.WaitForOutput(CALLED));
    FillTheDisk();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
        EXPECT_EQ(Call("nobody", PAYLOAD), DELIVERY_FAILED); // a line that is written at once
    }
    EXPECT_EQ(CountOf(daemon.Log(), "> Delivery error."), 0);
    MakeRoom();
    const int before = CountOf(daemon.Output(), CALLED);
    EXPECT_EQ(Call("nobody", PAYLOAD), DELIVERY_FAILED);
    EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
    EXPECT_TRUE(daemon.WaitForLog("> Delivery error."));
    EXPECT_TRUE(daemon.WaitForLog(CALLING, 2));
    EXPECT_TRUE(daemon.WaitForOutput(CALLED, before + 1));
}

TEST_F(NoRoom, ForTheConfigurationIsAFailureAndWhatWasKeptStays) {
    StartAndWait();
    ExpectChangesToBeHeard(10);
    EXPECT_EQ(Set(1), Kept(1));
    ExpectToHear(1);
    FillTheDisk();
    EXPECT_EQ(Set(2), NOT_KEPT);
    EXPECT_EQ(Set(3), NOT_KEPT);
    EXPECT_EQ(Call("keeper", "{}"), Kept(1));
    EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
    MakeRoom();
    EXPECT_EQ(Call("keeper", "{}"), Kept(1));
    EXPECT_EQ(Set(4), Kept(4));
    ExpectToHear(4);
}

TEST_F(NoRoom, LosesNothingThatWasKeptWhenTheDaemonDiesOverIt) {
    StartAndWait();
    EXPECT_EQ(Set(1), Kept(1));
    FillTheDisk();
    EXPECT_EQ(Set(2), NOT_KEPT);
    daemon.Kill();
    MakeRoom();
    daemon.Start();
    ASSERT_TRUE(WaitForStart(daemon, 2));
    EXPECT_EQ(Call("keeper", "{}"), Kept(1));
    EXPECT_EQ(Set(3), Kept(3));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// All descriptors that the daemon may have are in use.

#include "KeeperTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>

#include "DeathTest.h"
#include "Gate.h"
#include "ProcessLimits.h"
#include "ProcessUse.h"
#include "WaitUntil.h"

namespace {

namespace fs = std::filesystem;

class NoDescriptor : public KeeperTest {
protected:
    NoDescriptor() {
        daemon.AddServices({{"lazy", {.library = "libprobe2.so", .launchType = 1}},
                            {"probe", {.library = "libprobe.so"}}});
    }

    // UndefinedBehaviorSanitizer looks at an object's type through a pipe, and takes each that it
    // can't look at for a wrong one.
    static bool TypesNeedDescriptors() { return UNDER_SANITIZER && !UNDER_THREAD_SANITIZER; }

    void TakeDescriptors() {
        limit.emplace(daemon.Pid(), RLIMIT_NOFILE, LowestFreeDescriptor(daemon.Pid()));
    }
    void GiveDescriptors() { limit.reset(); }

    // Whoever tries again and again does it with pauses.
    void ExpectToBeIdle() {
        const auto before = ProcessorTime(daemon.Pid());
        Gate().Wait(std::chrono::seconds(1)); // nobody opens it
        EXPECT_LT(ProcessorTime(daemon.Pid()) - before, std::chrono::milliseconds(500));
    }

    std::optional<int> PipeDescriptor() const { return DescriptorOn(daemon.Pid(), "/api/control"); }

    std::optional<LowLimit> limit;
};

TEST_F(NoDescriptor, ForALibraryIsAFailedLoadUntilThereIsOne) {
    if (TypesNeedDescriptors()) {
        GTEST_SKIP() << "the sanitizer needs descriptors for itself";
    }
    StartAndWait();
    TakeDescriptors();
    EXPECT_EQ(Shell("status-start", "lazy"),
              "Failed to change status. Current service status is not-load\n"
              "Failed to change status. Current service status is not-load\n");
    EXPECT_TRUE(daemon.WaitForLog("cannot open shared object file: Too many open files"));
    EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
    ExpectToBeIdle();
    GiveDescriptors();
    EXPECT_EQ(Shell("status-start", "lazy"), STARTED);
    EXPECT_EQ(Call("lazy", PAYLOAD), PAYLOAD);
}

TEST_F(NoDescriptor, ForTheBusIsToldAndTheDaemonIsBackWhenThereIsOne) {
    StartAndWait();
    const std::ptrdiff_t before = OpenDescriptors(daemon.Pid());
    bus.Kill();
    ASSERT_TRUE(daemon.WaitForLog("has lost the bus", 2));
    // The two connections' own are given back by then.
    ASSERT_TRUE(WaitUntil([&] { return OpenDescriptors(daemon.Pid()) <= before - 4; }));
    TakeDescriptors();
    bus.Start();
    EXPECT_TRUE(daemon.WaitForLog("cannot connect to the system bus: Too many open files", 2));
    ExpectToBeIdle();
    GiveDescriptors();
    ASSERT_TRUE(daemon.WaitForLog("is on the bus again", 2));
    RawClient other;
    EXPECT_EQ(other.Call(ROUTER, "probe", PAYLOAD).payload, PAYLOAD);
    EXPECT_TRUE(WaitUntil([&] { return OpenDescriptors(daemon.Pid()) <= before; }));
}

TEST_F(NoDescriptor, ForTheConfigurationIsAFailureUntilThereIsOne) {
    if (TypesNeedDescriptors()) {
        GTEST_SKIP() << "the sanitizer needs descriptors for itself";
    }
    daemon.AddService("keeper", {.library = "libkeeper.so", .launchType = 1});
    StartAndWait();
    ASSERT_EQ(Shell("status-load", "keeper"), "State successfully changed to loaded\n");
    TakeDescriptors();
    EXPECT_EQ(Shell("status-start", "keeper"), STARTED_FROM_LOADED);
    EXPECT_TRUE(daemon.WaitForLog("can't open " + Database()));
    EXPECT_EQ(Set(1), R"({"error":"not kept"})");
    EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
    ExpectToBeIdle();
    GiveDescriptors();
    EXPECT_EQ(Set(2), Kept(2));
    // Nobody listens for changes until the service starts again.
    EXPECT_EQ(Shell("status-unload", "keeper"), UNLOADED);
    EXPECT_EQ(Shell("status-start", "keeper"), STARTED);
    ExpectChangesToBeHeard(10);
}

// A reader that can't open the pipe doesn't come back.
TEST_F(NoDescriptor, ForThePipeEndsItsReaderAndTheShellOnTheBusGoesOn) {
    StartAndWait();
    ASSERT_TRUE(daemon.WaitForLog("> Ready to open"));
    {
        std::ofstream writer(daemon.Pipe());
        ASSERT_TRUE(WaitUntil([this] { return PipeDescriptor().has_value(); }));
        limit.emplace(
            daemon.Pid(), RLIMIT_NOFILE,
            std::min(static_cast<rlim_t>(*PipeDescriptor()), LowestFreeDescriptor(daemon.Pid())));
    }
    EXPECT_TRUE(daemon.WaitForLog("> Cannot open the /usr/apps/org.norvane.hearthd/api/control "
                                  "pipe read-only [ret=-1, errno=24]"));
    ExpectToBeIdle();
    GiveDescriptors();
    EXPECT_EQ(Shell("status-start", "lazy"), STARTED);
    EXPECT_EQ(CountOf(daemon.Log(), "> Ready to open"), 2);
}

TEST_F(NoDescriptor, ForTheStacksOfADeadCallersCallLeavesTheCallAlone) {
    if (TypesNeedDescriptors()) {
        GTEST_SKIP() << "the sanitizer needs descriptors for itself";
    }
    fs::create_directories(daemon.CrashFolder());
    StartAndWait();
    ASSERT_TRUE(daemon.WaitForLog("> Watchdog started"));
    client.RequestName("marrow.ser.client.PID_4711");
    client.Send(ROUTER, "probe", R"({"do":"sleep","ms":4000})");
    ASSERT_TRUE(daemon.WaitForLog("> Calling [probe] API"));
    TakeDescriptors();
    std::ofstream(daemon.CrashFolder() + "/1.a.b.4711.c");
    EXPECT_TRUE(daemon.WaitForLog("> Threads dumps"));
    EXPECT_TRUE(daemon.WaitForOutput("probe_CALL_API"));
    EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
    ExpectToBeIdle();
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// What becomes of the watchdog where the system refuses it something.

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "DeathTest.h"
#include "FaultyCalls.h"
#include "Said.h"
#include "TestWatchdog.h"

namespace {

using testing::IsEmpty;
using Texts = std::vector<std::string>;

const std::string& CORE = CrashFolders::CORE;
const std::string& MINCORE = CrashFolders::MINCORE;

class WatchFailure : public testing::Test {
protected:
    ~WatchFailure() override {
        FaultyCalls::FailInotifyInit(0);
        FaultyCalls::FailInotifyAddWatch(0);
        FaultyCalls::FailSigaction(0);
    }

    CrashFolders folders;
};

TEST_F(WatchFailure, WithoutInotifyLeavesAnObjectWithoutALoop) {
    CrashFolders::Make(MINCORE);
    FaultyCalls::FailInotifyInit(EMFILE);
    {
        const TestWatchdog watchdog;
        EXPECT_EQ(TakeSaid(), (Texts{"I Watchdog Created", "E Cannot open inotify"}));
        EXPECT_FALSE(watchdog.HasLoop());
        EXPECT_EQ(watchdog.Fd(), -1);
        EXPECT_EQ(watchdog.AncestorWatch(), -1);
        EXPECT_EQ(watchdog.DirectoryWatch(), -1);
    }
    EXPECT_EQ(Said(), Texts{"I Watchdog closing and release read() operation"});
    EXPECT_EQ(CountThreads("APIWatchdog_thr"), 0);
}

TEST_F(WatchFailure, WithoutAWatchLeavesAnObjectWithoutALoop) {
    CrashFolders::Make(MINCORE);
    FaultyCalls::FailInotifyAddWatch(ENOSPC);
    const TestWatchdog watchdog;
    EXPECT_EQ(Said(), (Texts{"I Watchdog Created", "I Monitoring " + MINCORE + ".",
                             "E Error in inotify_add_watch with errno 28"}));
    EXPECT_FALSE(watchdog.HasLoop());
    EXPECT_EQ(watchdog.DirectoryWatch(), -1);
    EXPECT_EQ(CountThreads("APIWatchdog_thr"), 0);
}

TEST_F(WatchFailure, WithoutAWatchOnAnAncestorLeavesAnObjectWithoutALoop) {
    CrashFolders::Make(CORE);
    FaultyCalls::FailInotifyAddWatch(EACCES);
    const TestWatchdog watchdog;
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "Error in inotify_add_watch with errno 13"), 1);
    EXPECT_FALSE(watchdog.HasLoop());
    EXPECT_EQ(watchdog.AncestorWatch(), -1);
}

TEST_F(WatchFailure, OfALaterWatchLeavesTheLoopWhereItIs) {
    CrashFolders::Make(CORE);
    const TestWatchdog watchdog;
    LogCapture::Clear();
    FaultyCalls::FailInotifyAddWatch(ENOSPC);
    CrashFolders::Make(MINCORE);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    EXPECT_TRUE(watchdog.WaitUntilIdle()) << "it reads on";
    EXPECT_EQ(Said(), (Texts{"I [watch 1] File modified/created mincore",
                             "I Monitoring " + MINCORE + ".", "I Release previously added watch 1.",
                             "E Error in inotify_add_watch with errno 28",
                             "W Event skipped : wd=1 mask=32768"}));
    EXPECT_EQ(watchdog.AncestorWatch(), -1);
    EXPECT_EQ(watchdog.DirectoryWatch(), -1);
}

// Behind its back the loop gets something to read that has no more bytes.
TEST_F(WatchFailure, ToReadAnyByteEndsTheLoopForGood) {
    CrashFolders::Make(MINCORE);
    const TestWatchdog watchdog;
    const int end = open("/dev/null", O_RDONLY | O_CLOEXEC);
    // Past the thread sanitizer, for which this is a race: here it is meant.
    ASSERT_NE(syscall(SYS_dup3, end, watchdog.Fd(), O_CLOEXEC), -1);
    close(end);
    LogCapture::Clear();
    CrashFolders::Touch(MINCORE + "/anything"); // the read that is under way brings this yet
    ASSERT_TRUE(TestWatchdog::HasEnded());
    EXPECT_EQ(Said(), (Texts{"I [watch 1] File modified/created anything",
                             "W File does not contain pattern we want to monitor.",
                             "W Read failed, finishing.", "I Watchdog finished"}));
}

TEST_F(WatchFailure, OfTheSignalHandlerLeavesTheWatchingAsItIs) {
    CrashFolders::Make(MINCORE);
    FaultyCalls::FailSigaction(EINVAL);
    TestWatchdog watchdog;
    EXPECT_EQ(Said().at(0), "I Watchdog Created");
    EXPECT_EQ(Said().at(1), "E Cannot register signal handler.");
    CrashFolders::Touch(MINCORE + "/1.a.x.10.core");
    EXPECT_TRUE(watchdog.WaitForCrashes(1));
}

TEST_F(WatchFailure, AddWatchSaysWhetherTheWatchIsInPlace) {
    CrashFolders::Make(CORE);
    TestWatchdog watchdog;
    EXPECT_TRUE(watchdog->AddWatch(MINCORE)) << "on the ancestor";
    EXPECT_TRUE(watchdog->AddWatch("/opt/usr/share"));
    EXPECT_EQ(watchdog.Watched(), TestWatchdog::WatchOn("/opt/usr/share"));
    FaultyCalls::FailInotifyAddWatch(ENOSPC);
    EXPECT_FALSE(watchdog->AddWatch(CORE));
    EXPECT_THAT(watchdog.Watched(), IsEmpty());
}

TEST_F(WatchFailure, OfTheSignalHandlerMakesALaterDumpEndTheProcess) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            FaultyCalls::FailSigaction(EINVAL);
            FaultyCalls::FailInotifyInit(EMFILE);
            APIWatchdog watchdog([](const std::string&) {});
            std::thread other([] { pause(); });
            watchdog.PrintInfo();
            other.join();
        },
        testing::KilledBySignal(APIWatchdog::SIGNAL), "");
}

// It relies on a directory whose root is there; nothing else stops it.
TEST_F(WatchFailure, APathWithoutARootIsClimbedForEver) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "the sanitizer's notes of the calls fill the memory first";
    }
    UseFreshProcesses();
    FaultyCalls::FailInotifyInit(EMFILE);
    TestWatchdog watchdog;
    const rlimit smallStack{1024UL * 1024, RLIM_INFINITY};
    EXPECT_EXIT(
        {
            setrlimit(RLIMIT_STACK, &smallStack);
            watchdog->AddWatch("nowhere");
        },
        DiedOfAFault, "");
}

} // namespace

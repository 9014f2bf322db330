// SPDX-License-Identifier: Apache-2.0

// Where the watch stands, and how it moves.

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DeathTest.h"
#include "Said.h"
#include "TestWatchdog.h"

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Texts = std::vector<std::string>;
using Watches = TestWatchdog::Watches;

const std::string& CRASH = CrashFolders::CRASH;
const std::string& CORE = CrashFolders::CORE;
const std::string& MINCORE = CrashFolders::MINCORE;

class APIWatchdogTest : public testing::Test {
protected:
    CrashFolders folders;
};

TEST_F(APIWatchdogTest, HasItsPublicConstants) {
    EXPECT_STREQ(APIWatchdog::MONITORED_DIRECTORY, "/opt/usr/share/crash/core/mincore");
    EXPECT_STREQ(APIWatchdog::FILE_NAME_PATTERN, "\\d+\\.[^.]+?\\.[^.]+?\\.(\\d+)\\..+");
    EXPECT_EQ(APIWatchdog::SIGNAL, 12);
    EXPECT_EQ(APIWatchdog::BUFF_SIZE, 256);
}

TEST_F(APIWatchdogTest, PlacesOneWatchOnADirectoryThatIsThere) {
    CrashFolders::Make(MINCORE);
    const TestWatchdog watchdog;
    EXPECT_EQ(Said(),
              (Texts{"I Watchdog Created", "I Monitoring " + MINCORE + ".",
                     "I inotify has been set up properly (new wd 1)", "I Watchdog started"}));
    EXPECT_EQ(watchdog.DirectoryWatch(), 1);
    EXPECT_EQ(watchdog.AncestorWatch(), -1);
    EXPECT_EQ(watchdog.Watched(), TestWatchdog::WatchOn(MINCORE));
}

TEST_F(APIWatchdogTest, ReportsNoFileThatWasThereAtTheStart) {
    CrashFolders::Make(MINCORE);
    CrashFolders::Touch(MINCORE + "/1.old.x.10.core");
    TestWatchdog watchdog;
    CrashFolders::Touch(MINCORE + "/2.new.x.20.core");
    EXPECT_TRUE(watchdog.WaitForCrashes(1));
    EXPECT_EQ(watchdog.Crashed(), Texts{"20"});
    EXPECT_THAT(Said(), Not(Contains(StartsWith("I Checking "))));
    EXPECT_THAT(Said(), Not(Contains(StartsWith("I Found "))));
}

TEST_F(APIWatchdogTest, ClimbsToTheNearestAncestorThatIsThere) {
    CrashFolders::Make(CRASH);
    const TestWatchdog watchdog;
    EXPECT_EQ(
        Said(),
        (Texts{"I Watchdog Created", "W Cannot monitor non-existing name " + MINCORE + ".",
               "W Cannot monitor non-existing name " + CORE + ".", "I Monitoring " + CRASH + ".",
               "I inotify has been set up properly (new wd 1)", "I Watchdog started"}));
    EXPECT_EQ(watchdog.AncestorWatch(), 1);
    EXPECT_EQ(watchdog.DirectoryWatch(), -1);
    EXPECT_EQ(watchdog.Watched(), TestWatchdog::WatchOn(CRASH));
}

TEST_F(APIWatchdogTest, ComesDownByOneLevelWithEachCreation) {
    CrashFolders::Make(CRASH);
    const TestWatchdog watchdog;
    LogCapture::Clear();
    CrashFolders::Make(CORE);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    EXPECT_EQ(TakeSaid(),
              (Texts{"I [watch 1] File modified/created core",
                     "W Cannot monitor non-existing name " + MINCORE + ".",
                     "I Monitoring " + CORE + ".", "I Release previously added watch 1.",
                     "I inotify has been set up properly (new wd 2)",
                     "W Event skipped : wd=1 mask=32768"}));
    EXPECT_EQ(watchdog.AncestorWatch(), 2);
    EXPECT_EQ(watchdog.DirectoryWatch(), -1);
    EXPECT_EQ(watchdog.Watched(), TestWatchdog::WatchOn(CORE));

    CrashFolders::Make(MINCORE);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=2 mask=32768"));
    EXPECT_EQ(TakeSaid(),
              (Texts{"I [watch 2] File modified/created mincore", "I Monitoring " + MINCORE + ".",
                     "I Release previously added watch 2.",
                     "I inotify has been set up properly (new wd 3)",
                     "I Checking " + MINCORE + " directory content.",
                     "W Event skipped : wd=2 mask=32768"}));
    EXPECT_EQ(watchdog.AncestorWatch(), -1);
    EXPECT_EQ(watchdog.DirectoryWatch(), 3);
    EXPECT_EQ(watchdog.Watched(), TestWatchdog::WatchOn(MINCORE));
}

TEST_F(APIWatchdogTest, ReportsCrashesOnceItHasComeDown) {
    CrashFolders::Make(CRASH);
    TestWatchdog watchdog;
    CrashFolders::Make(CORE);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    CrashFolders::Make(MINCORE);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=2 mask=32768"));
    CrashFolders::Touch(MINCORE + "/1.new.x.10.core");
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "[watch 3] File modified/created 1.new.x.10.core"));
    EXPECT_TRUE(watchdog.WaitForCrashes(1));
    EXPECT_EQ(watchdog.Crashed(), Texts{"10"});
}

// A directory that is moved in raises no event, so its files are sure to be there first.
TEST_F(APIWatchdogTest, ReportsTheFilesThatCameBeforeTheWatchOnTheDirectory) {
    CrashFolders::Make(CORE);
    TestWatchdog watchdog;
    LogCapture::Clear();
    const std::string prepared = "/opt/usr/prepared";
    CrashFolders::Make(prepared);
    CrashFolders::Touch(prepared + "/1.missed.x.10.core");
    CrashFolders::Touch(prepared + "/no crash file");
    std::filesystem::rename(prepared, MINCORE);
    CrashFolders::Touch(CORE + "/anything");
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    EXPECT_EQ(watchdog.Crashed(), Texts{"10"});
    Texts said = Said();
    ASSERT_EQ(said.size(), 9U) << testing::PrintToString(said);
    EXPECT_EQ(said[4], "I Checking " + MINCORE + " directory content.");
    // In the directory's order, whatever that is; what was no crash file draws its line behind it.
    std::sort(said.begin() + 5, said.begin() + 8);
    EXPECT_EQ(Texts(said.begin() + 5, said.end()),
              (Texts{"I Found 1.missed.x.10.core", "I Found no crash file",
                     "W File does not contain pattern we want to monitor.",
                     "W Event skipped : wd=1 mask=32768"}));
}

TEST_F(APIWatchdogTest, TriesTheWholePathAgainAtAnyCreationInTheAncestor) {
    CrashFolders::Make(CRASH);
    const TestWatchdog watchdog;
    LogCapture::Clear();
    CrashFolders::Touch(CRASH + "/unrelated");
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    EXPECT_EQ(Said(), (Texts{"I [watch 1] File modified/created unrelated",
                             "W Cannot monitor non-existing name " + MINCORE + ".",
                             "W Cannot monitor non-existing name " + CORE + ".",
                             "I Monitoring " + CRASH + ".", "I Release previously added watch 1.",
                             "I inotify has been set up properly (new wd 2)",
                             "W Event skipped : wd=1 mask=32768"}));
    EXPECT_EQ(watchdog.AncestorWatch(), 2);
    EXPECT_EQ(watchdog.Watched(), TestWatchdog::WatchOn(CRASH));
}

// Another watch than the directory's has been asked for, and there are two then.
TEST_F(APIWatchdogTest, LooksForNoMissedFilesWhereItHasClimbedAgain) {
    const std::string share = "/opt/usr/share";
    CrashFolders::Make(MINCORE);
    std::atomic<TestWatchdog*> asked = nullptr;
    TestWatchdog watchdog([&](const std::string&) { (*asked.load())->AddWatch(share); });
    asked = &watchdog;
    CrashFolders::Touch(MINCORE + "/1.prog.x.10.core");
    ASSERT_TRUE(watchdog.WaitForCrashes(1));
    std::filesystem::remove_all(MINCORE);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    LogCapture::Clear();
    CrashFolders::Touch(share + "/anything");
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=2 mask=32768"));
    EXPECT_EQ(Said(), (Texts{"I [watch 2] File modified/created anything",
                             "W Cannot monitor non-existing name " + MINCORE + ".",
                             "I Monitoring " + CORE + ".", "I Release previously added watch 2.",
                             "I inotify has been set up properly (new wd 3)",
                             "W Event skipped : wd=2 mask=32768"}));
    EXPECT_EQ(watchdog.DirectoryWatch(), 1) << "it isn't told";
    EXPECT_EQ(watchdog.AncestorWatch(), 3);
}

TEST_F(APIWatchdogTest, StopsWatchingForGoodWhenTheDirectoryIsRemoved) {
    CrashFolders::Make(MINCORE);
    TestWatchdog watchdog;
    LogCapture::Clear();
    std::filesystem::remove(MINCORE);
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    CrashFolders::Make(MINCORE);
    CrashFolders::Touch(MINCORE + "/1.unseen.x.10.core");
    EXPECT_TRUE(watchdog.WaitUntilIdle());
    EXPECT_EQ(Said(), Texts{"W Event skipped : wd=1 mask=32768"});
    EXPECT_EQ(watchdog.Watched(), Watches{});
    EXPECT_EQ(watchdog.DirectoryWatch(), 1) << "it isn't told";
    EXPECT_THAT(watchdog.Crashed(), IsEmpty());
}

TEST_F(APIWatchdogTest, ReleasesItsReadAndItsWatchesWhenItIsDestroyed) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "closing what another thread reads from is meant, and a race to it";
    }
    CrashFolders::Make(MINCORE);
    TestWatchdog watchdog;
    const int descriptor = watchdog.Fd();
    LogCapture::Clear();
    watchdog.Destroy();
    EXPECT_EQ(Said().at(0), "I Watchdog closing and release read() operation");
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    EXPECT_EQ(watchdog.Watched(), Watches{});
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1) << "it was closed";
}

TEST_F(APIWatchdogTest, ReleasesTheWatchOnAnAncestorWhenItIsDestroyed) {
    if (UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "closing what another thread reads from is meant, and a race to it";
    }
    CrashFolders::Make(CORE);
    TestWatchdog watchdog;
    watchdog.Destroy();
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, "Event skipped : wd=1 mask=32768"));
    EXPECT_EQ(watchdog.Watched(), Watches{});
}

TEST_F(APIWatchdogTest, ListsNamesInTheDirectorysOwnOrder) {
    for (const char* name : {"/d", "/b", "/g", "/a", "/f", "/c", "/e"}) {
        CrashFolders::Make(CORE);
        CrashFolders::Touch(CORE + name);
    }
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(CORE)) {
        names.push_back(entry.path().filename());
    }
    if (std::is_sorted(names.begin(), names.end())) {
        GTEST_SKIP() << "the file system sorts the names itself";
    }
    TestWatchdog watchdog;
    EXPECT_EQ(watchdog->GetDirContent(CORE), names);
}

TEST_F(APIWatchdogTest, ListsTheNamesInADirectory) {
    CrashFolders::Make(CORE + "/folder");
    CrashFolders::Touch(CORE + "/.hidden");
    CrashFolders::Touch(CORE + "/file");
    TestWatchdog watchdog;
    EXPECT_THAT(watchdog->GetDirContent(CORE),
                testing::UnorderedElementsAre("folder", ".hidden", "file"));
    EXPECT_THAT(watchdog->GetDirContent(MINCORE), IsEmpty()) << "there is none";
    EXPECT_THAT(watchdog->GetDirContent(CORE + "/file"), IsEmpty()) << "it is no directory";
}

} // namespace

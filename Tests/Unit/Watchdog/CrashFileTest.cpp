// SPDX-License-Identifier: Apache-2.0

// What the loop makes of the events in the directory of the crash files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Gate.h"
#include "Said.h"
#include "TestWatchdog.h"
#include "WorkerTools.h"

namespace {

using testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr const char* OTHER_FORM = "File does not contain pattern we want to monitor.";
const std::string& MINCORE = CrashFolders::MINCORE;

class CrashFile : public testing::Test {
protected:
    CrashFile() { CrashFolders::Make(MINCORE); }

    static void Touch(const std::string& name) { CrashFolders::Touch(MINCORE + "/" + name); }

    static Texts Begun(const std::string& beginning) {
        Texts found;
        for (const std::string& line : Said()) {
            if (line.starts_with(beginning)) {
                found.push_back(line);
            }
        }
        return found;
    }

    CrashFolders folders;
};

TEST_F(CrashFile, HasItsProcessReportedOnTheWatchdogsWorker) {
    std::string thread;
    TestWatchdog watchdog([&](const std::string&) { thread = ThreadName(); });
    LogCapture::Clear();
    Touch("1700000000.prog.x86.4711.core.tar");
    ASSERT_TRUE(watchdog.WaitForCrashes(1));
    EXPECT_EQ(watchdog.Crashed(), Texts{"4711"});
    EXPECT_EQ(thread, "APIWatchdog_thr"); // as much of it as the kernel keeps
    EXPECT_EQ(Said(), Texts{"I [watch 1] File modified/created 1700000000.prog.x86.4711.core.tar"});
}

TEST_F(CrashFile, OfAnotherFormIsDropped) {
    TestWatchdog watchdog;
    LogCapture::Clear();
    Touch("1700000000.prog.4711.core");
    Touch("1.prog.x86.20.core");
    ASSERT_TRUE(watchdog.WaitForCrashes(1));
    EXPECT_EQ(watchdog.Crashed(), Texts{"20"});
    EXPECT_EQ(Said(), (Texts{"I [watch 1] File modified/created 1700000000.prog.4711.core",
                             "W File does not contain pattern we want to monitor.",
                             "I [watch 1] File modified/created 1.prog.x86.20.core"}));
}

TEST_F(CrashFile, IsSeenWhenItIsCreatedAndNotWhenItIsMovedInChangedOrRemoved) {
    const std::string outside = "/opt/usr/1.moved.x.10.core";
    CrashFolders::Touch(outside);
    Touch("1.old.x.30.core");
    TestWatchdog watchdog;
    LogCapture::Clear();
    std::filesystem::rename(outside, MINCORE + "/1.moved.x.10.core");
    Touch("1.old.x.30.core"); // opened, truncated, written, closed
    std::filesystem::permissions(MINCORE + "/1.old.x.30.core", std::filesystem::perms::owner_read);
    std::filesystem::remove(MINCORE + "/1.old.x.30.core");
    Touch("1.new.x.20.core");
    ASSERT_TRUE(watchdog.WaitForCrashes(1));
    EXPECT_TRUE(watchdog.WaitUntilIdle());
    EXPECT_EQ(watchdog.Crashed(), Texts{"20"});
    EXPECT_EQ(Said(), Texts{"I [watch 1] File modified/created 1.new.x.20.core"});
}

TEST_F(CrashFile, WaitsWhileTheOneBeforeItIsHandled) {
    Gate isHeld;
    Gate mayGo;
    TestWatchdog watchdog([&](const std::string& pid) {
        if (pid == "10") {
            isHeld.Open();
            mayGo.Wait();
        }
    });
    Touch("1.a.x.10.core");
    ASSERT_TRUE(isHeld.Wait());
    // More than one read brings, and more than one event in a read.
    Texts expected = {"10"};
    for (int pid = 11; pid < 30; ++pid) {
        expected.push_back(std::to_string(pid));
        Touch("1.a.x." + expected.back() + ".core");
    }
    EXPECT_EQ(Begun("I [watch").size(), 1U) << "nothing is read meanwhile";
    EXPECT_THAT(watchdog.Crashed(), IsEmpty());
    mayGo.Open();
    EXPECT_TRUE(watchdog.WaitForCrashes(expected.size()));
    EXPECT_EQ(watchdog.Crashed(), expected);
}

// An event of 239 bytes and one to end the text fills the buffer.
TEST_F(CrashFile, WithANameOf239BytesIsTheLongestThatIsSeen) {
    TestWatchdog watchdog;
    const std::string name = "1.a.x.10." + std::string(230, 'c');
    ASSERT_EQ(name.size(), 239U);
    Touch(name);
    EXPECT_TRUE(watchdog.WaitForCrashes(1));
    EXPECT_TRUE(watchdog.WaitUntilIdle());
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "Read failed, finishing."), 0);
}

TEST_F(CrashFile, WithANameOf240BytesEndsTheLoopForGood) {
    TestWatchdog watchdog;
    LogCapture::Clear();
    Touch("1.a.x.10." + std::string(231, 'c'));
    ASSERT_TRUE(TestWatchdog::HasEnded());
    Touch("1.a.x.20.core");
    EXPECT_EQ(Said(), (Texts{"W Read failed, finishing.", "I Watchdog finished"}));
    EXPECT_THAT(watchdog.Crashed(), IsEmpty());
}

// Which id is read from which name; "" where it is none of a crash file.
TEST_F(CrashFile, HasFiveFieldsOfWhichTheFourthIsTheProcess) {
    const std::vector<std::pair<std::string, std::string>> ids = {
        {"1.prog.x86.42.core", "42"},
        {"0.a.b.42.c", "42"},
        {"1.a.b.42.c.d.e", "42"}, // the last field may be anything
        {"1.a.b.42...", "42"},
        {"1.a b.-.42. ", "42"},
        {"1.a.b.0042.c", "0042"}, // text, not a number
        {"1.a.b.000.c", "000"},
        {"1.a.b.99999999999999999999999.c", "99999999999999999999999"},
        {"1.2.3.4.5.6.7", "4"},
        {"1.a.b.42", ""}, // four fields
        {"1.a.b.42.", ""},
        {"1.a.42.c", ""},
        {"x.a.b.42.c", ""},
        {".a.b.42.c", ""},
        {"x1.a.b.42.c", ""}, // the whole name, not a part of it
        {" 1.a.b.42.c", ""},
        {"1..b.42.c", ""},
        {"1.a..42.c", ""},
        {"1.a.b.c.42.d", ""},
        {"1.a.b.-42.c", ""},
        {"1.a.b.42x.c", ""},
        {"1.a.b..c", ""},
        {"", ""},
    };
    TestWatchdog watchdog;
    Texts expected;
    for (const auto& [name, id] : ids) {
        const int dropped = LogCapture::Count(DLOG_WARN, OTHER_FORM);
        watchdog->RunCallback(name);
        EXPECT_EQ(LogCapture::Count(DLOG_WARN, OTHER_FORM), dropped + (id.empty() ? 1 : 0)) << name;
        if (!id.empty()) {
            expected.push_back(id);
        }
        EXPECT_EQ(watchdog.Crashed(), expected) << name;
    }
}

} // namespace

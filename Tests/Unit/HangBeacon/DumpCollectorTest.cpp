// SPDX-License-Identifier: Apache-2.0
#include "DumpCollector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using hang_beacon::Dump;
using hang_beacon::DumpCollector;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class DumpCollectorTest : public testing::Test {
protected:
    std::uint64_t Open(pid_t process, pid_t thread) {
        Dump dump;
        dump.process = process;
        return collector.Open(dump, {thread, "", {}}, now);
    }
    void Add(std::uint64_t opening, std::string_view line) { collector.Add(opening, line, now); }

    std::vector<Dump> finished;
    DumpCollector collector{[this](const Dump& dump) { finished.push_back(dump); }};
    DumpCollector::Clock::time_point now{1h};
};

TEST_F(DumpCollectorTest, FinishesADumpWhenNothingHasComeForAWhile) {
    EXPECT_FALSE(collector.Deadline());
    const std::uint64_t opening = Open(10, 11);
    now += DumpCollector::QUIET / 2;
    Add(opening, "a");
    EXPECT_EQ(collector.Deadline(), now + DumpCollector::QUIET);
    collector.Tick(now + DumpCollector::QUIET - 1ms);
    EXPECT_THAT(finished, IsEmpty());
    collector.Tick(now + DumpCollector::QUIET);
    ASSERT_THAT(finished, SizeIs(1));
    EXPECT_THAT(finished[0].threads[0].lines, ElementsAre("a"));
    EXPECT_FALSE(collector.Deadline());
}

TEST_F(DumpCollectorTest, WaitsForTheDumpThatHasBeenQuietForLongest) {
    Open(10, 11);
    const auto first = now;
    now += 100ms;
    Open(20, 21);
    EXPECT_EQ(collector.Deadline(), first + DumpCollector::QUIET);
}

TEST_F(DumpCollectorTest, DropsALineThatComesBehindTheEndOfItsDump) {
    const std::uint64_t late = Open(10, 11);
    collector.Finish();
    Add(late, "late");
    const std::uint64_t next = Open(10, 11);
    Add(late, "late");
    Add(next, "next");
    collector.Finish();
    ASSERT_THAT(finished, SizeIs(2));
    EXPECT_THAT(finished[0].threads[0].lines, IsEmpty());
    EXPECT_THAT(finished[1].threads[0].lines, ElementsAre("next"));
}

TEST_F(DumpCollectorTest, BeginsAnotherDumpWhenAThreadComesAgain) {
    Open(10, 11);
    Open(10, 12);
    Open(10, 11); // all threads were asked once more
    Open(10, 12);
    collector.Finish();
    ASSERT_THAT(finished, SizeIs(2));
    EXPECT_THAT(finished[0].threads, SizeIs(2));
    EXPECT_THAT(finished[1].threads, SizeIs(2));
}

TEST_F(DumpCollectorTest, FinishesTheOldestWhereProcessesAreTooMany) {
    const std::uint64_t oldest = Open(1, 1);
    Add(oldest, "kept");
    for (pid_t process = 2; process <= static_cast<pid_t>(DumpCollector::MOST_DUMPS); ++process) {
        Open(process, process);
    }
    EXPECT_THAT(finished, IsEmpty());
    Open(9999, 9999);
    ASSERT_THAT(finished, SizeIs(1));
    EXPECT_EQ(finished[0].process, 1);
    EXPECT_THAT(finished[0].threads[0].lines, ElementsAre("kept"));
    Add(oldest, "late");
    collector.Finish();
    EXPECT_THAT(finished, SizeIs(DumpCollector::MOST_DUMPS + 1));
}

TEST_F(DumpCollectorTest, CountsTheLinesForWhichADumpHasNoRoom) {
    const std::uint64_t opening = Open(10, 11);
    const std::string line(DumpCollector::LARGEST_DUMP - 2 * DumpCollector::LINE_COST - 1, 'x');
    Add(opening, line);
    Add(opening, "12");
    Add(opening, "3"); // fits
    Add(opening, "4");
    collector.Finish();
    ASSERT_THAT(finished, SizeIs(1));
    EXPECT_THAT(finished[0].threads[0].lines, ElementsAre(line, "3"));
    EXPECT_EQ(finished[0].dropped, 2U);
}

TEST_F(DumpCollectorTest, CountsEmptyLinesToo) {
    const std::uint64_t opening = Open(10, 11);
    constexpr std::size_t ROOM = DumpCollector::LARGEST_DUMP / DumpCollector::LINE_COST;
    for (std::size_t line = 0; line < ROOM + 5; ++line) {
        Add(opening, "");
    }
    collector.Finish();
    ASSERT_THAT(finished, SizeIs(1));
    EXPECT_THAT(finished[0].threads[0].lines, SizeIs(ROOM));
    EXPECT_EQ(finished[0].dropped, 5U);
}

TEST_F(DumpCollectorTest, BeginsAnotherDumpWhereThreadsAreTooMany) {
    for (std::size_t thread = 0; thread < DumpCollector::MOST_THREADS; ++thread) {
        Open(10, static_cast<pid_t>(100 + thread));
    }
    EXPECT_THAT(finished, IsEmpty());
    Add(Open(10, 99), "the next one's");
    ASSERT_THAT(finished, SizeIs(1));
    EXPECT_THAT(finished[0].threads, SizeIs(DumpCollector::MOST_THREADS));
    collector.Finish();
    ASSERT_THAT(finished, SizeIs(2));
    ASSERT_THAT(finished[1].threads, SizeIs(1));
    EXPECT_THAT(finished[1].threads[0].lines, ElementsAre("the next one's"));
}

} // namespace

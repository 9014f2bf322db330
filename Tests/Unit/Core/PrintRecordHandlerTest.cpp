// SPDX-License-Identifier: Apache-2.0
#include "PrintRecordHandler.h"

#include <gtest/gtest.h>
#include <string>

#include "CoutCapture.h"
#include "LogCapture.h"
#include "PerformanceMonitor.h"

namespace {

record_t Record(std::string tag, std::int64_t nanoseconds) {
    record_t record;
    record.tag = std::move(tag);
    record.start = record_t::time_point(std::chrono::seconds(1000));
    record.stop = record.start + std::chrono::nanoseconds(nanoseconds);
    return record;
}

// The line that a stage of this length gives.
std::string Printed(std::int64_t nanoseconds, std::string tag = "stage") {
    CoutCapture& output = CoutCapture::Get();
    output.Clear();
    PrintRecordHandler().handle(Record(std::move(tag), nanoseconds));
    const auto lines = output.Lines();
    EXPECT_EQ(lines.size(), 1U);
    return lines.empty() ? "" : lines[0].text;
}

TEST(PrintRecordHandler, PrintsMillisecondsFromOneMillisecondOn) {
    EXPECT_EQ(Printed(1000000), "PERFORMANCE MONITOR - tag: stage execution_time: 1 ms");
    EXPECT_EQ(Printed(1999999), "PERFORMANCE MONITOR - tag: stage execution_time: 1 ms");
    EXPECT_EQ(Printed(2000000), "PERFORMANCE MONITOR - tag: stage execution_time: 2 ms");
}

TEST(PrintRecordHandler, PrintsMicrosecondsBelowOneMillisecond) {
    EXPECT_EQ(Printed(999999), "PERFORMANCE MONITOR - tag: stage execution_time: 999 us");
    EXPECT_EQ(Printed(1000), "PERFORMANCE MONITOR - tag: stage execution_time: 1 us");
    EXPECT_EQ(Printed(1999), "PERFORMANCE MONITOR - tag: stage execution_time: 1 us");
}

TEST(PrintRecordHandler, PrintsZeroMicrosecondsBelowOneMicrosecond) {
    EXPECT_EQ(Printed(999), "PERFORMANCE MONITOR - tag: stage execution_time: 0 us");
    EXPECT_EQ(Printed(0), "PERFORMANCE MONITOR - tag: stage execution_time: 0 us");
}

TEST(PrintRecordHandler, PrintsDaysWithoutLosingAnything) {
    EXPECT_EQ(Printed(90LL * 24 * 3600 * 1000000000),
              "PERFORMANCE MONITOR - tag: stage execution_time: 7776000000 ms");
}

TEST(PrintRecordHandler, TakesTheDifferenceAsASignedNumberAndTruncates) {
    EXPECT_EQ(Printed(-1), "PERFORMANCE MONITOR - tag: stage execution_time: 0 us");
    EXPECT_EQ(Printed(-1500), "PERFORMANCE MONITOR - tag: stage execution_time: -1 us");
    EXPECT_EQ(Printed(-1500000), "PERFORMANCE MONITOR - tag: stage execution_time: -1 ms");
}

TEST(PrintRecordHandler, PrintsNothingForAnEmptyTag) {
    EXPECT_EQ(Printed(5000000, ""), "PERFORMANCE MONITOR - tag:  execution_time: 5 ms");
}

TEST(PrintRecordHandler, FlushesEveryLineAndLogsNothing) {
    CoutCapture& output = CoutCapture::Get();
    output.Clear();
    LogCapture::Clear();
    PrintRecordHandler handler;
    handler.handle(Record("first", 1));
    EXPECT_EQ(output.Flushes(), 1);
    handler.handle(Record("second", 1));
    EXPECT_EQ(output.Flushes(), 2);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

TEST(PrintRecordHandler, PrintsTheClocksWholeReadingForATagThatWasNotOpen) {
    CoutCapture& output = CoutCapture::Get();
    output.Clear();
    PerformanceMonitor monitor;
    PrintRecordHandler handler;
    monitor.AddRecordHandler(&handler);
    const auto milliseconds = [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    };
    const auto before = milliseconds();
    monitor.Stop("unknown");
    const auto after = milliseconds();
    const auto lines = output.Lines();
    ASSERT_EQ(lines.size(), 1U);
    long long printed = 0;
    std::string unit(3, '\0');
    ASSERT_EQ(std::sscanf(lines[0].text.c_str(),
                          "PERFORMANCE MONITOR - tag:  execution_time: %lld %2s", &printed,
                          unit.data()),
              2);
    EXPECT_GE(printed, before);
    EXPECT_LE(printed, after);
    EXPECT_STREQ(unit.c_str(), "ms");
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

#include "CallCounts.h"

#include <gtest/gtest.h>

namespace {

using hearthctl::CallCounts;
using hearthctl::LogLine;
using hearthctl::Microseconds;
using Kind = LogLine::Kind;
using namespace std::chrono_literals;

LogLine Line(Kind kind, const std::string& service, Microseconds took = 0us) {
    return {.kind = kind, .service = service, .took = took, .time = {}, .process = {}};
}

TEST(CallCounts, TellsHowLongTheCallsOfAServiceHaveTaken) {
    CallCounts counts;
    for (int i = 100; i > 0; --i) {
        counts.Add(Line(Kind::CALL, "a", Microseconds(i)));
    }
    const auto services = counts.Take();
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0].name, "a");
    EXPECT_EQ(services[0].calls, 100);
    EXPECT_EQ(services[0].median, 50us);
    EXPECT_EQ(services[0].ninetyFifth, 95us);
    EXPECT_EQ(services[0].longest, 100us);
    EXPECT_EQ(services[0].refused, 0);
}

TEST(CallCounts, PutsTheServiceWithTheMostCallsFirst) {
    CallCounts counts;
    counts.Add(Line(Kind::CALL, "a"));
    counts.Add(Line(Kind::CALL, "b"));
    counts.Add(Line(Kind::CALL, "b"));
    counts.Add(Line(Kind::REFUSED, "c"));
    const auto services = counts.Take();
    ASSERT_EQ(services.size(), 3U);
    EXPECT_EQ(services[0].name, "b");
    EXPECT_EQ(services[1].name, "a");
    EXPECT_EQ(services[2].name, "c");
}

TEST(CallCounts, CountsWhatWasRefused) {
    CallCounts counts;
    counts.Add(Line(Kind::REFUSED, "a"));
    counts.Add(Line(Kind::UNKNOWN_SERVICE, "a"));
    const auto services = counts.Take();
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0].calls, 0);
    EXPECT_EQ(services[0].refused, 2);
}

TEST(CallCounts, BeginAnew) {
    CallCounts counts;
    counts.Add(Line(Kind::CALL, "a", 9ms));
    EXPECT_EQ(counts.Take().size(), 1U);
    EXPECT_TRUE(counts.Take().empty());
    counts.Add(Line(Kind::CALL, "a", 1ms));
    EXPECT_EQ(counts.Take().at(0).longest, 1ms);
}

TEST(CallCounts, PassOverLinesOfStarts) {
    CallCounts counts;
    for (const Kind kind : {Kind::INIT, Kind::LOAD, Kind::START, Kind::STARTED, Kind::TIMED_OUT}) {
        counts.Add(Line(kind, "a"));
    }
    EXPECT_TRUE(counts.Take().empty());
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

#include "StartTimeline.h"

#include <gtest/gtest.h>

#include "StartLines.h"

namespace {

using hearthctl::Microseconds;
using hearthctl::PlaceOnAxis;
using hearthctl::Span;
using hearthctl::Timeline;
using hearthctl::TimeOf;
using namespace std::chrono_literals;

Timeline Place(const std::vector<std::string>& lines) {
    return PlaceOnAxis(LastStart(lines).value());
}

void ExpectSpan(const Span& span, Microseconds begin, Microseconds end) {
    EXPECT_EQ(span.begin, begin);
    EXPECT_EQ(span.end, end);
}

std::string Started(const std::string& service, double second) {
    return Logged("ServiceManager.cpp: StartService(90) > started " + service, second);
}

TEST(StartTimeline, PutsOneStageBehindTheOtherWhereTheLogHasNoTimes) {
    const Timeline timeline =
        Place({Timing("INIT", "2 ms"), Timing("a_LOAD", "100 us"), Timing("a_START", "3 ms"),
               Timing("b_LOAD", "200 us"), Timing("b_START", "1 ms")});
    ASSERT_TRUE(timeline.init);
    ExpectSpan(*timeline.init, 0us, 2ms);
    ExpectSpan(timeline.services[0].load, 2000us, 2100us);
    ExpectSpan(timeline.services[0].start, 2100us, 5100us);
    ExpectSpan(timeline.services[1].load, 5100us, 5300us);
    ExpectSpan(timeline.services[1].start, 5300us, 6300us);
    EXPECT_EQ(timeline.length, 6300us);
}

TEST(StartTimeline, PutsEachStageWhereItsTimeSays) {
    const Timeline timeline = Place({InJournal(7, Timing("INIT", "2 ms"), 10.002),
                                     InJournal(7, Timing("a_LOAD", "100 us"), 10.003),
                                     InJournal(7, Timing("a_START", "3 ms"), 10.007)});
    ExpectSpan(timeline.init.value(), 0us, 2ms);
    ExpectSpan(timeline.services[0].load, 2900us, 3000us);
    ExpectSpan(timeline.services[0].start, 4ms, 7ms);
    EXPECT_EQ(timeline.length, 7ms);
}

TEST(StartTimeline, LetsNoStageOverlapTheNextWhereLinesComeLate) {
    const Timeline timeline = Place({InJournal(7, Timing("a_LOAD", "2 ms"), 10.009),
                                     InJournal(7, Timing("a_START", "5 ms"), 10.010)});
    ExpectSpan(timeline.services[0].load, 0us, 2ms);
    ExpectSpan(timeline.services[0].start, 2ms, 7ms);
}

TEST(StartTimeline, TakesTheTimesOfThePlatformsLogWhereTimingLinesHaveNone) {
    const Timeline timeline = Place(
        {Timing("a_LOAD", "1 ms"), Timing("a_START", "2 ms"), Timing("b_LOAD", "3 ms"),
         Timing("b_START", "4 ms"), Logged("Service.cpp: Start(42) > Starting service['a']", 1.005),
         Started("a", 1.010), Started("b", 1.020)});
    ExpectSpan(timeline.services[0].load, 0us, 1ms);
    ExpectSpan(timeline.services[0].start, 4ms, 6ms);
    ExpectSpan(timeline.services[1].load, 9ms, 12ms);
    ExpectSpan(timeline.services[1].start, 12ms, 16ms);
}

TEST(StartTimeline, IsNotMisledByLinesThatThePlatformsLogHasHeldBack) {
    const auto late = [](const std::string& text) {
        return InJournal(7, "HEARTHD [9] " + text, 10.2);
    };
    const Timeline timeline = Place({InJournal(7, Timing("INIT", "1 ms"), 10.000),
                                     InJournal(7, Timing("a_LOAD", "1 ms"), 10.001),
                                     InJournal(7, Timing("a_START", "2 ms"), 10.004),
                                     late("Service.cpp: Start(42) > Starting service['a']"),
                                     late("ServiceManager.cpp: StartService(90) > started a")});
    ExpectSpan(timeline.services[0].load, 1ms, 2ms);
    ExpectSpan(timeline.services[0].start, 3ms, 5ms);
}

TEST(StartTimeline, MeasuresAStartThatTimedOut) {
    const auto start = LastStart(
        {Timing("a_LOAD", "1 ms"), Logged("Service.cpp: Start(42) > Starting service['a']", 1.5),
         Logged("Service.cpp: HandOver(87) > Timeout 10 seconds occured!", 11.5),
         Failed("failed to start a service", 11.5)});
    const Timeline timeline = PlaceOnAxis(start.value());
    ExpectSpan(timeline.services[0].start, 1ms, 10001ms);
    EXPECT_EQ(TimeOf(start->services[0].start, timeline.services[0].start), 10s);
    EXPECT_EQ(timeline.services[0].Sum(), 10001ms);
}

TEST(StartTimeline, MeasuresALoadThatFailedFromTheServiceAhead) {
    const auto start = LastStart({InJournal(7, Timing("a_LOAD", "1 ms"), 10.001),
                                  InJournal(7, Timing("a_START", "1 ms"), 10.002),
                                  InJournal(7,
                                            "HEARTHD [9] ServiceManager.cpp: StartService(80) > "
                                            "failed to load b service",
                                            10.009),
                                  InJournal(7, Timing("c_LOAD", "1 ms"), 10.020)});
    const Timeline timeline = PlaceOnAxis(start.value());
    ExpectSpan(timeline.services[1].load, 2ms, 9ms);
    ExpectSpan(timeline.services[1].start, 9ms, 9ms);
    EXPECT_EQ(TimeOf(start->services[1].load, timeline.services[1].load), 7ms);
    EXPECT_FALSE(TimeOf(start->services[1].start, timeline.services[1].start));
}

TEST(StartTimeline, GivesAStartThatHasNotEndedNoLength) {
    const Timeline timeline = Place({Timing("a_LOAD", "1 ms"), Timing("b_LOAD", "2 ms")});
    ExpectSpan(timeline.services[0].start, 1ms, 1ms);
    ExpectSpan(timeline.services[1].load, 1ms, 3ms);
    ExpectSpan(timeline.services[1].start, 3ms, 3ms);
    EXPECT_EQ(timeline.services[1].Sum(), 2ms);
}

TEST(StartTimeline, ClosesTheGapThatAClockLeavesWhichIsSetAhead) {
    const Timeline timeline = Place({InJournal(7, Timing("INIT", "1 ms"), 10.000),
                                     InJournal(7, Timing("a_LOAD", "1 ms"), 10.001),
                                     InJournal(7, Timing("a_START", "2 ms"), 9999.0),
                                     InJournal(7, Timing("b_LOAD", "3 ms"), 9999.004)});
    ExpectSpan(timeline.init.value(), 0us, 1ms);
    ExpectSpan(timeline.services[0].start, 2ms, 4ms);
    ExpectSpan(timeline.services[1].load, 5ms, 8ms);
    EXPECT_EQ(timeline.length, 8ms);
}

TEST(StartTimeline, IsNotMisledByAClockThatIsSetBack) {
    const Timeline timeline = Place({InJournal(7, Timing("INIT", "1 ms"), 9999.0),
                                     InJournal(7, Timing("a_LOAD", "1 ms"), 9999.001),
                                     InJournal(7, Timing("a_START", "2 ms"), 10.0),
                                     InJournal(7, Timing("b_LOAD", "3 ms"), 10.003)});
    ExpectSpan(timeline.init.value(), 0us, 1ms);
    ExpectSpan(timeline.services[0].load, 1ms, 2ms);
    ExpectSpan(timeline.services[0].start, 2ms, 4ms);
    EXPECT_EQ(timeline.length, 7ms);
}

TEST(StartTimeline, BeginsWithTheFirstServiceWhereTheDaemonSetsItselfUpMeanwhile) {
    const Timeline timeline = Place({InJournal(7, Timing("a_LOAD", "5 ms"), 10.005),
                                     InJournal(7, Timing("INIT", "2 ms"), 10.004)});
    ExpectSpan(timeline.services[0].load, 0us, 5ms);
    ExpectSpan(timeline.init.value(), 2ms, 4ms);
}

TEST(StartTimeline, MayHoldTheDaemonAlone) {
    const Timeline timeline = Place({Timing("INIT", "2 ms")});
    ExpectSpan(timeline.init.value(), 0us, 2ms);
    EXPECT_EQ(timeline.length, 2ms);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

#include "StartLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StartLines.h"

namespace {

using hearthctl::DaemonStart;
using hearthctl::ServiceStart;
using testing::ElementsAre;
using State = ServiceStart::State;
using namespace std::chrono_literals;

std::vector<std::string> Names(const DaemonStart& start) {
    std::vector<std::string> names;
    for (const ServiceStart& service : start.services) {
        names.push_back(service.name);
    }
    return names;
}

TEST(StartLog, HasNoStartWhereNoLineTellsOfOne) {
    EXPECT_FALSE(LastStart({}));
    EXPECT_FALSE(LastStart({"something else", Timing("echo_CALL_API", "5 us"),
                            Logged("Service.cpp: Start(42) > Starting service['lazy']"),
                            Logged("Service.cpp: HandOver(87) > Timeout 10 seconds occured!")}))
        << "a service that was started by hand";
}

TEST(StartLog, KeepsTheServicesInTheirOrder) {
    const auto start = LastStart({Timing("INIT", "2 ms"), Timing("b_LOAD", "3 us"), "other",
                                  Timing("b_START", "4 ms"), Timing("b_CALL_API", "1 us"),
                                  Timing("a_LOAD", "5 us"), Timing("a_START", "6 us")});
    ASSERT_TRUE(start);
    EXPECT_EQ(start->init.took, 2ms);
    EXPECT_THAT(Names(*start), ElementsAre("b", "a"));
    EXPECT_EQ(start->services[0].load.took, 3us);
    EXPECT_EQ(start->services[0].start.took, 4ms);
    EXPECT_EQ(start->services[1].state, State::STARTED);
}

TEST(StartLog, MayHaveNoService) {
    const auto start = LastStart({Timing("INIT", "2 ms")});
    ASSERT_TRUE(start);
    EXPECT_TRUE(start->services.empty());
}

TEST(StartLog, TellsWhyAServiceHasNotStarted) {
    const auto start = LastStart({Timing("INIT", "2 ms"), Failed("failed to load a service"),
                                  Timing("b_LOAD", "1 us"), Failed("failed to start b service"),
                                  Timing("c_LOAD", "1 us"),
                                  Logged("Service.cpp: HandOver(87) > Timeout 10 seconds occured!"),
                                  Failed("failed to start c service"), Timing("d_LOAD", "1 us"),
                                  Failed("failed to start d service"), Timing("e_LOAD", "1 us")});
    ASSERT_TRUE(start);
    ASSERT_THAT(Names(*start), ElementsAre("a", "b", "c", "d", "e"));
    EXPECT_EQ(start->services[0].state, State::LOAD_FAILED);
    EXPECT_EQ(start->services[1].state, State::START_FAILED);
    EXPECT_EQ(start->services[2].state, State::TIMED_OUT);
    EXPECT_EQ(start->services[3].state, State::START_FAILED) << "the time-out was that of c";
    EXPECT_EQ(start->services[4].state, State::LOADED);
}

TEST(StartLog, IsOfTheLastDaemon) {
    const auto start =
        LastStart({Timing("INIT", "1 ms"), Timing("a_LOAD", "1 us"), Timing("a_START", "1 us"),
                   Timing("INIT", "2 ms"), Timing("b_LOAD", "1 us")});
    ASSERT_TRUE(start);
    EXPECT_EQ(start->init.took, 2ms);
    EXPECT_THAT(Names(*start), ElementsAre("b"));
}

TEST(StartLog, TellsDaemonsApartByTheirProcesses) {
    const auto start =
        LastStart({InJournal(7, Timing("INIT", "1 ms")), InJournal(7, Timing("a_LOAD", "1 us")),
                   InJournal(8, Timing("b_LOAD", "1 us")), InJournal(8, Timing("INIT", "2 ms")),
                   InJournal(7, Timing("a_START", "1 us")), // late
                   InJournal(8, Timing("b_START", "1 us"))});
    ASSERT_TRUE(start);
    EXPECT_EQ(start->process, "8");
    EXPECT_THAT(Names(*start), ElementsAre("b"));
    EXPECT_EQ(start->services[0].load.took, 1us);
}

TEST(StartLog, TellsDaemonsOfOneProcessIdApart) {
    const auto start =
        LastStart({InJournal(7, Timing("INIT", "1 ms")), InJournal(7, Timing("a_LOAD", "1 us")),
                   InJournal(7, Timing("INIT", "2 ms")), InJournal(7, Timing("b_LOAD", "1 us"))});
    ASSERT_TRUE(start);
    EXPECT_THAT(Names(*start), ElementsAre("b"));
}

TEST(StartLog, BelievesThatTheManagerBeginsAheadOfTheInitLineOrBehindIt) {
    const std::string manager = Logged("ServiceManager.cpp: ServiceManager(28) > init");
    const auto buffered = LastStart(
        {Timing("INIT", "1 ms"), Timing("a_LOAD", "1 us"), manager, Timing("a_START", "1 us")});
    ASSERT_TRUE(buffered);
    EXPECT_THAT(Names(*buffered), ElementsAre("a"));
    EXPECT_EQ(buffered->init.took, 1ms);

    const auto atOnce =
        LastStart({Timing("INIT", "1 ms"), manager, Timing("a_LOAD", "1 us"), manager,
                   Failed("failed to load b service"), Timing("INIT", "2 ms")});
    ASSERT_TRUE(atOnce);
    EXPECT_THAT(Names(*atOnce), ElementsAre("b"));
    EXPECT_EQ(atOnce->init.took, 2ms);
}

TEST(StartLog, TakesOverAServiceThatWasLoadedAheadOfTheInitLine) {
    const auto start =
        LastStart({Timing("INIT", "1 ms"), Timing("a_LOAD", "1 us"), Timing("a_START", "1 us"),
                   Timing("a_LOAD", "3 us"), Timing("INIT", "2 ms"), Timing("a_START", "4 us")});
    ASSERT_TRUE(start);
    ASSERT_THAT(Names(*start), ElementsAre("a"));
    EXPECT_EQ(start->services[0].load.took, 3us);
    EXPECT_EQ(start->services[0].start.took, 4us);
}

TEST(StartLog, KeepsBothServicesOfANameThatIsDeclaredTwice) {
    const auto start =
        LastStart({Timing("INIT", "1 ms"), Timing("a_LOAD", "1 us"), Timing("a_START", "2 us"),
                   Timing("a_LOAD", "3 us"), Timing("a_START", "4 us")});
    ASSERT_TRUE(start);
    ASSERT_THAT(Names(*start), ElementsAre("a", "a"));
    EXPECT_EQ(start->services[0].start.took, 2us);
    EXPECT_EQ(start->services[1].start.took, 4us);
}

TEST(StartLog, MayBeginInTheMiddleOfAStart) {
    const auto start = LastStart({Timing("a_START", "2 us"), Timing("b_LOAD", "3 us")});
    ASSERT_TRUE(start);
    EXPECT_THAT(Names(*start), ElementsAre("a", "b"));
    EXPECT_FALSE(start->services[0].load.took);
    EXPECT_EQ(start->services[0].state, State::STARTED);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "ClockPacer.h"

#include <gtest/gtest.h>

#include "Packets.h"

namespace {

using namespace std::chrono_literals;
using tvservice::ClockPacer;
using Time = ClockPacer::Clock::time_point;

constexpr std::uint64_t SECOND = 27'000'000;
constexpr std::uint64_t WRAP = (1ULL << 33) * 300;
constexpr std::uint16_t PID = 0x100;

class ClockPacerTest : public testing::Test {
protected:
    std::optional<Time> Pcr(std::uint64_t pcr, Time now, std::uint16_t pid = PID,
                            bool discontinuity = false) {
        streammaker::AdaptationField field;
        field.pcr = pcr;
        field.discontinuity = discontinuity;
        return pacer.DueAt(streammaker::AdaptationPacket(pid, field), now);
    }
    std::optional<Time> Other(Time now) { return pacer.DueAt(streammaker::NullPacket(), now); }

    const Time begin{std::chrono::hours(100)};
    ClockPacer pacer;
};

TEST_F(ClockPacerTest, HasPacketsWaitForTheirClock) {
    EXPECT_EQ(Pcr(5 * SECOND, begin), std::nullopt) << "the first one sets the pace";
    EXPECT_EQ(Pcr(5 * SECOND + 27'000, begin), begin + 1ms);
    EXPECT_EQ(Pcr(5 * SECOND + SECOND / 2, begin + 1ms), begin + 500ms);
    EXPECT_EQ(Pcr(6 * SECOND + SECOND / 4, begin + 500ms), begin + 1250ms);
    EXPECT_EQ(Pcr(6 * SECOND + SECOND / 4 + 27, begin + 1250ms), begin + 1250001us);
}

TEST_F(ClockPacerTest, HandsOnAtOnceWhatIsDueOrSaysNothing) {
    Pcr(SECOND, begin);
    EXPECT_EQ(Other(begin), std::nullopt);
    EXPECT_EQ(Pcr(SECOND + SECOND / 10, begin + 100ms), std::nullopt);
    EXPECT_EQ(Pcr(SECOND + SECOND / 5, begin + 300ms), std::nullopt) << "a little late";
    EXPECT_EQ(Pcr(SECOND + SECOND / 2, begin + 300ms), begin + 500ms) << "and in time again";
}

TEST_F(ClockPacerTest, BeginsAnewAtAJump) {
    Pcr(100 * SECOND, begin);
    EXPECT_EQ(Pcr(50 * SECOND, begin + 1ms), std::nullopt) << "back";
    EXPECT_EQ(Pcr(50 * SECOND + 27'000, begin + 1ms), begin + 2ms);
    EXPECT_EQ(Pcr(51 * SECOND + 27'001, begin + 2ms), std::nullopt) << "more than a second ahead";
    EXPECT_EQ(Pcr(51 * SECOND + 27'001 + 27'000, begin + 2ms), begin + 3ms);
    EXPECT_EQ(Pcr(51 * SECOND + 27'001 + SECOND, begin + 2ms), begin + 1002ms) << "just no jump";
}

TEST_F(ClockPacerTest, BeginsAnewWhereTheStreamSaysSo) {
    Pcr(100 * SECOND, begin);
    EXPECT_EQ(Pcr(100 * SECOND + SECOND / 2, begin, PID, true), std::nullopt);
    EXPECT_EQ(Pcr(100 * SECOND + SECOND / 2 + 27'000, begin), begin + 1ms);
}

TEST_F(ClockPacerTest, GoesOnOverTheWrapOfTheClock) {
    Pcr(WRAP - 27'000, begin);
    EXPECT_EQ(Pcr(0, begin + 1ms), std::nullopt);
    EXPECT_EQ(Pcr(27'000, begin + 1ms), begin + 2ms);
}

TEST_F(ClockPacerTest, DoesntHurryAfterAReaderThatWasHeldUp) {
    Pcr(0, begin);
    EXPECT_EQ(Pcr(SECOND / 10, begin + 5s), std::nullopt);
    EXPECT_EQ(Pcr(SECOND / 5, begin + 5s), begin + 5100ms);
}

TEST_F(ClockPacerTest, CatchesUpWithASecondAndNoMore) {
    Pcr(0, begin);
    EXPECT_EQ(Pcr(SECOND / 10, begin + 1100ms), std::nullopt);
    EXPECT_EQ(Pcr(SECOND / 5, begin + 1100ms), std::nullopt) << "one second behind is caught up";
}

TEST_F(ClockPacerTest, FollowsOnePidUntilItIsSilentForASecondOfAnother) {
    Pcr(0, begin);
    Pcr(700 * SECOND, begin, PID + 1);
    Pcr(700 * SECOND + SECOND / 2, begin, PID + 1);
    EXPECT_EQ(Pcr(SECOND / 2, begin), begin + 500ms) << "it was not silent";
    Pcr(701 * SECOND, begin, PID + 1);
    Pcr(702 * SECOND, begin, PID + 1);
    EXPECT_EQ(Pcr(702 * SECOND + 1, begin, PID + 1), std::nullopt) << "it takes over here";
    EXPECT_EQ(Pcr(702 * SECOND + 1 + 27'000, begin, PID + 1), begin + 1ms);
    EXPECT_EQ(Pcr(SECOND / 2 + 27'000, begin), std::nullopt) << "and the first is the other now";
    EXPECT_EQ(Pcr(702 * SECOND + 1 + 54'000, begin, PID + 1), begin + 2ms);
}

TEST_F(ClockPacerTest, CountsTheSilenceByOneClockOnly) {
    Pcr(0, begin);
    Pcr(700 * SECOND, begin, PID + 1);
    Pcr(900 * SECOND, begin, PID + 2); // another program's, which says nothing of the first's
    Pcr(600 * SECOND, begin, PID + 1); // back
    Pcr(600 * SECOND + SECOND / 2, begin, PID + 1);
    Pcr(650 * SECOND, begin, PID + 1, true); // a jump that the stream tells of
    EXPECT_EQ(Pcr(651 * SECOND, begin, PID + 1), std::nullopt);
    EXPECT_EQ(Pcr(27'000, begin), begin + 1ms) << "a second at most, and the first one holds";
}

TEST_F(ClockPacerTest, FollowsOnePidForManyPacketsAtMost) {
    Pcr(0, begin);
    EXPECT_EQ(Pcr(700 * SECOND, begin, PID + 1), std::nullopt);
    EXPECT_EQ(Pcr(27'000, begin), begin + 1ms) << "the other one hasn't changed anything";
    for (int packet = 0; packet < 99'998; ++packet) {
        Other(begin);
    }
    Pcr(700 * SECOND, begin, PID + 1); // one packet too early
    EXPECT_EQ(Pcr(700 * SECOND + 27'000, begin, PID + 1), std::nullopt) << "it takes over here";
    EXPECT_EQ(Pcr(700 * SECOND + 54'000, begin, PID + 1), begin + 1ms);
    EXPECT_EQ(Pcr(54'000, begin), std::nullopt) << "and the first one is the other now";
}

TEST_F(ClockPacerTest, BeginsAnewAfterReset) {
    Pcr(0, begin);
    pacer.Reset();
    EXPECT_EQ(Pcr(SECOND / 2, begin, PID + 1), std::nullopt);
    EXPECT_EQ(Pcr(SECOND / 2 + 27'000, begin, PID + 1), begin + 1ms);
}

TEST_F(ClockPacerTest, PassesOverWrongPackets) {
    Pcr(0, begin);
    streammaker::TsPacket wrong = streammaker::PcrPacket(PID, 5'000'000);
    wrong[1] |= 0x80;
    EXPECT_EQ(pacer.DueAt(wrong, begin), std::nullopt);
    EXPECT_EQ(Pcr(27'000, begin), begin + 1ms);
}

} // namespace

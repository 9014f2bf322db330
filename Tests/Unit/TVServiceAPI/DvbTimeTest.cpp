// SPDX-License-Identifier: Apache-2.0
#include "DvbTime.h"

#include <gtest/gtest.h>

#include "SiTime.h"

namespace {

using tvservice::DurationOf;
using tvservice::UtcOf;

TEST(DvbTime, IsUtcInSeconds) {
    EXPECT_EQ(UtcOf(0xC079124500), 750516300); // the example of EN 300 468, annex C
    EXPECT_EQ(UtcOf(0x9E8B000000), 0);
    EXPECT_EQ(UtcOf(0x9E8B235959), 86399);
    EXPECT_EQ(UtcOf(0x9E8A235959), std::nullopt) << "ahead of 1970";
    EXPECT_EQ(UtcOf(0), std::nullopt);
    EXPECT_EQ(UtcOf(0xFFFF000000), std::int64_t{65535 - 40587} * 86400) << "the last day of all";
}

TEST(DvbTime, IsWhatTheMakerOfStreamsWrote) {
    for (std::int64_t utc = 951700000; utc < 2000000000; utc += 12345678) { // over a leap day
        EXPECT_EQ(UtcOf(streammaker::SiTime(utc)), utc);
    }
    EXPECT_EQ(UtcOf(streammaker::SiTime(-1)), std::nullopt);
}

TEST(DvbTime, IsNoneWhereADigitIsNone) {
    for (unsigned shift = 0; shift < 24; shift += 4) {
        EXPECT_FALSE(UtcOf(0xC079000000 | 0xAULL << shift)) << shift;
        EXPECT_TRUE(UtcOf(0xC079000000 | 0x9ULL << shift)) << shift;
        EXPECT_FALSE(DurationOf(0xFU << shift)) << shift;
    }
    EXPECT_FALSE(UtcOf(0xFFFFFFFFFF));
}

TEST(DvbTime, IsADurationOfSixDigits) {
    EXPECT_EQ(DurationOf(0x014530), 6330U);
    EXPECT_EQ(DurationOf(0), 0U);
    EXPECT_EQ(DurationOf(0x995959), 359999U);
    EXPECT_EQ(DurationOf(streammaker::SiDuration(45296)), 45296U);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "TimeSpec.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace {

using marrow::base::ToTimeSpec;
using namespace std::chrono_literals;

TEST(TimeSpec, HasWholeSecondsAndWhatIsLeft) {
    const std::timespec span = ToTimeSpec(3s + 250ms + 7ns);
    EXPECT_EQ(span.tv_sec, 3);
    EXPECT_EQ(span.tv_nsec, 250'000'007);
}

TEST(TimeSpec, StaysInTheFutureForTheLongestSpan) {
    const std::timespec span = ToTimeSpec(std::chrono::nanoseconds::max());
    EXPECT_GE(span.tv_sec, std::numeric_limits<std::int32_t>::max());
    EXPECT_LT(span.tv_nsec, 1'000'000'000);
}

} // namespace

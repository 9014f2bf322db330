// SPDX-License-Identifier: Apache-2.0
#include "SiTime.h"

namespace streammaker {

namespace {

constexpr std::int64_t DAY = 86400;
constexpr std::int64_t FIRST_DAY = 40587; // 1 January 1970 as Modified Julian Date

std::uint32_t TwoDigits(std::uint32_t number) {
    return number / 10 % 10 << 4 | number % 10;
}

} // namespace

std::uint64_t SiTime(std::int64_t utc) {
    if (utc < 0) {
        return 0xFFFFFFFFFFULL;
    }
    const auto date = static_cast<std::uint64_t>(utc / DAY + FIRST_DAY) & 0xFFFFU;
    return date << 24 | SiDuration(static_cast<std::uint32_t>(utc % DAY));
}

std::uint32_t SiDuration(std::uint32_t seconds) {
    return TwoDigits(seconds / 3600) << 16 | TwoDigits(seconds / 60 % 60) << 8 |
           TwoDigits(seconds % 60);
}

} // namespace streammaker

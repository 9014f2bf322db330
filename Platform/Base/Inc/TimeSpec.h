// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>

namespace marrow::base {

/// The C library's words for a span of time. Where its seconds have 32 bits a longer one is cut to
/// the most that they hold.
inline std::timespec ToTimeSpec(std::chrono::nanoseconds span) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(span);
    constexpr std::chrono::seconds::rep MOST = std::numeric_limits<std::time_t>::max();
    return {.tv_sec = static_cast<std::time_t>(std::min(seconds.count(), MOST)),
            .tv_nsec = static_cast<long>((span - seconds).count())};
}

} // namespace marrow::base

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace tvservice {

/// What came, and what was wrong with it, since the source was opened.
struct Counters {
    std::uint64_t packets = 0;
    std::uint64_t badPackets = 0;  ///< marked as wrong, or with an impossible adaptation field
    std::uint64_t gaps = 0;        ///< in continuity_counters, once for each who follows the PID
    std::uint64_t badSections = 0; ///< cut, or with an impossible length
    std::uint64_t badCrcs = 0;
    std::uint64_t badPes = 0; ///< cut, without a start code, or too long
};

} // namespace tvservice

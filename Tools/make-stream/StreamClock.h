// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace streammaker {

/// Bits a second: with more, the ticks of a stream's clock have no room in 64 bits.
constexpr std::uint64_t HIGHEST_RATE = 100'000'000'000;

/// How often a clock has ticked when `bits` of a stream of `rate` bits a second have passed. Holds
/// for `rate` up to HIGHEST_RATE, and for clocks of up to 100 MHz.
constexpr std::uint64_t TicksOf(std::uint64_t bits, std::uint64_t rate,
                                std::uint64_t ticksPerSecond) {
    // Whole seconds apart: all the bits of a long stream, times the ticks, would overflow.
    return bits / rate * ticksPerSecond + bits % rate * ticksPerSecond / rate;
}

} // namespace streammaker

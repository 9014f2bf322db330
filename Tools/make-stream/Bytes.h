// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

namespace streammaker {

using Bytes = std::vector<std::uint8_t>;

/// Bits and bytes of a number that a stream holds, which is big-endian throughout.
template <typename Number>
constexpr std::uint8_t Byte(Number value, unsigned shift = 0) {
    return static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> shift & 0xFFU);
}

inline void Append16(Bytes& bytes, std::uint16_t value) {
    bytes.push_back(Byte(value, 8));
    bytes.push_back(Byte(value));
}

inline void Append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

} // namespace streammaker

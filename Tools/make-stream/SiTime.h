// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace streammaker {

/// UTC in seconds since 1970 as 40 bits of Modified Julian Date and digits (EN 300 468, annex C).
/// A negative time is undefined: all bits are one.
std::uint64_t SiTime(std::int64_t utc);

/// Seconds as six digits (EN 300 468, 5.2.4).
std::uint32_t SiDuration(std::uint32_t seconds);

} // namespace streammaker

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace tvservice {

/// UTC of EN 300 468, annex C: 16 bits of modified Julian date, then six BCD digits of hours,
/// minutes and seconds, as seconds since 1970. Nothing where a digit isn't one, or all bits are
/// set, which means that the time isn't defined.
std::optional<std::int64_t> UtcOf(std::uint64_t field40);

/// Six BCD digits of hours, minutes and seconds in seconds.
std::optional<std::uint32_t> DurationOf(std::uint32_t field24);

} // namespace tvservice

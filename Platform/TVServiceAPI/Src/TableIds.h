// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace tvservice {

// Table ids: ISO/IEC 13818-1, table 2-31, and EN 300 468, table 2. Of tables that exist for other
// streams too, those of the stream itself.
constexpr std::uint8_t PAT_TABLE = 0x00;
constexpr std::uint8_t PMT_TABLE = 0x02;
constexpr std::uint8_t SDT_TABLE = 0x42;
constexpr std::uint8_t PRESENT_FOLLOWING_TABLE = 0x4E;
constexpr std::uint8_t FIRST_SCHEDULE_TABLE = 0x50;
constexpr std::uint8_t LAST_SCHEDULE_TABLE = 0x5F;
constexpr std::uint8_t TIME_AND_DATE_TABLE = 0x70;
constexpr std::uint8_t TIME_OFFSET_TABLE = 0x73;

} // namespace tvservice

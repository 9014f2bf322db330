// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "Bytes.h"
#include "Multiplex.h"

namespace streammaker {

// The sections of each table. The version's lowest five bits are written. Throw std::runtime_error
// where the library that makes them refuses.

inline constexpr std::uint16_t PAT_PID = 0x00;
inline constexpr std::uint16_t SDT_PID = 0x11;
inline constexpr std::uint16_t EIT_PID = 0x12;
inline constexpr std::uint16_t TDT_PID = 0x14;

using Sections = std::vector<Bytes>;

Sections PatSections(const Multiplex& multiplex, std::uint8_t version = 0);
Sections PmtSections(const Service& service, std::uint8_t version = 0);
/// Of the actual stream.
Sections SdtSections(const Multiplex& multiplex, std::uint8_t version = 0);
/// Present event in section 0, following event in section 1; either may be empty.
Sections PresentFollowingSections(const Multiplex& multiplex, const Service& service,
                                  std::uint8_t version = 0);
/// Table 0x50, whose segment 0 begins at the midnight (UTC) ahead of `today`. Throws
/// std::invalid_argument for an event that starts outside of the four days of that table.
Sections ScheduleSections(const Multiplex& multiplex, const Service& service, std::int64_t today,
                          std::uint8_t version = 0);
/// UTC in seconds since 1970.
Bytes TdtSection(std::int64_t utc);

} // namespace streammaker

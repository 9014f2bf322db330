// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "Bytes.h"

namespace streammaker {

/// CRC_32 of ISO/IEC 13818-1, annex A. Over a section with its own CRC_32 it is 0.
std::uint32_t Crc32(std::span<const std::uint8_t> bytes);

/// Makes a section (ISO/IEC 13818-1, 2.4.4.11) from bytes. One thread.
struct SectionBuilder {
    std::uint8_t tableId = 0;
    /// The long form, with all that follows here and a CRC_32. The short one holds only payload.
    bool syntaxIndicator = true;
    std::uint16_t extension = 0; ///< table_id_extension
    std::uint8_t version = 0;
    bool currentNext = true;
    std::uint8_t number = 0;
    std::uint8_t lastNumber = 0;
    Bytes payload;

    /// The whole section. Throws std::length_error where it would be above 4096 bytes.
    Bytes Build() const;
};

/// Writes a right CRC_32 to the end of a section in the long form, after a change of its bytes.
void RenewCrc(Bytes& section);

} // namespace streammaker

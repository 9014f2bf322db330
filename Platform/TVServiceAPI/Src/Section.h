// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TsPacket.h"

namespace tvservice {

/// A whole table section (ISO/IEC 13818-1, 2.4.4.11): at least its three first bytes, and as long
/// as they say. A view.
class Section {
public:
    static constexpr std::size_t START_BYTES = 3; ///< up to and with section_length
    static constexpr std::size_t MAX_BYTES = 4096;
    static constexpr std::size_t CRC_BYTES = 4;

    explicit Section(Bytes bytes);

    /// Its length by its first three bytes.
    static std::size_t LengthOf(Bytes start) {
        return START_BYTES + (static_cast<std::size_t>(start[1] & 0x0F) << 8 | start[2]);
    }

    Bytes Whole() const { return m_bytes; }
    std::uint8_t TableId() const { return m_bytes[0]; }

    /// The long form, with extension, version and numbers; only it has the next five. False too
    /// where the section is too short for what it says of itself.
    bool IsLong() const { return m_isLong; }
    std::uint16_t Extension() const {
        return static_cast<std::uint16_t>(m_bytes[3] << 8 | m_bytes[4]);
    }
    std::uint8_t Version() const { return m_bytes[5] >> 1 & 0x1F; }
    bool IsCurrent() const { return (m_bytes[5] & 1) != 0; }
    std::uint8_t Number() const { return m_bytes[6]; }
    std::uint8_t LastNumber() const { return m_bytes[7]; }

    /// CRC_32 is right, or there is none.
    bool IsIntact() const { return m_isIntact; }

    /// A CRC of its contents, which tells them apart.
    std::uint32_t Fingerprint() const;

private:
    Bytes m_bytes;
    bool m_isLong;
    bool m_hasCrc;
    bool m_isIntact;
};

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#include "Section.h"

#include <array>

#include "TableIds.h"

namespace tvservice {

namespace {

constexpr std::size_t LONG_BYTES = 8 + Section::CRC_BYTES; // the least that the long form needs

constexpr std::array<std::uint32_t, 256> MakeCrcTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc << 1 ^ ((crc >> 31) != 0 ? 0x04C11DB7U : 0U);
        }
        table[byte] = crc;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> CRC_TABLE = MakeCrcTable();

// ISO/IEC 13818-1, annex A: 0 for bytes that end with their own CRC_32.
std::uint32_t Crc(Bytes bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        crc = crc << 8 ^ CRC_TABLE[(crc >> 24) ^ byte];
    }
    return crc;
}

} // namespace

Section::Section(Bytes bytes) : m_bytes(bytes) {
    const bool saysLong = (bytes[1] & 0x80) != 0;
    m_isLong = saysLong && bytes.size() >= LONG_BYTES;
    // A TOT is short, and has one all the same (EN 300 468, 5.2.6).
    m_hasCrc = saysLong || TableId() == TIME_OFFSET_TABLE;
    m_isIntact = !m_hasCrc || (bytes.size() >= START_BYTES + CRC_BYTES && Crc(bytes) == 0);
}

std::uint32_t Section::Fingerprint() const {
    if (!m_hasCrc || !m_isIntact) {
        return Crc(m_bytes);
    }
    std::uint32_t crc = 0; // the section has it already
    for (const std::uint8_t byte : m_bytes.last(CRC_BYTES)) {
        crc = crc << 8 | byte;
    }
    return crc;
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#include "SectionBuilder.h"

#include <stdexcept>

namespace streammaker {

namespace {

constexpr std::size_t CRC_SIZE = 4;
constexpr std::size_t LENGTH_ENDS = 3; // section_length counts from here
constexpr std::size_t LONGEST_SECTION = 4096;
constexpr std::uint8_t FIRST_OTHER_TABLE = 0x40; // below are those of ISO/IEC 13818-1

} // namespace

std::uint32_t Crc32(std::span<const std::uint8_t> bytes) {
    constexpr std::uint32_t POLYNOMIAL = 0x04C11DB7;
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= static_cast<std::uint32_t>(byte) << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc << 1 ^ ((crc & 0x80000000U) != 0 ? POLYNOMIAL : 0);
        }
    }
    return crc;
}

Bytes SectionBuilder::Build() const {
    Bytes section{tableId, 0, 0};
    if (syntaxIndicator) {
        Append16(section, extension);
        section.push_back(
            static_cast<std::uint8_t>(0xC0U | (version & 0x1FU) << 1 | (currentNext ? 1U : 0U)));
        section.push_back(number);
        section.push_back(lastNumber);
    }
    Append(section, payload);
    section.resize(section.size() + (syntaxIndicator ? CRC_SIZE : 0));
    if (section.size() > LONGEST_SECTION) {
        throw std::length_error("a section has at most 4096 bytes");
    }
    const std::size_t length = section.size() - LENGTH_ENDS;
    section[1] =
        static_cast<std::uint8_t>((syntaxIndicator ? 0x80U : 0U) |
                                  (tableId < FIRST_OTHER_TABLE ? 0x30U : 0x70U) | Byte(length, 8));
    section[2] = Byte(length);
    if (syntaxIndicator) {
        RenewCrc(section);
    }
    return section;
}

void RenewCrc(Bytes& section) {
    const std::size_t end = section.size() - CRC_SIZE;
    const std::uint32_t crc = Crc32(std::span(section).first(end));
    for (std::size_t i = 0; i < CRC_SIZE; ++i) {
        section[end + i] = Byte(crc, static_cast<unsigned>(24 - 8 * i));
    }
}

} // namespace streammaker

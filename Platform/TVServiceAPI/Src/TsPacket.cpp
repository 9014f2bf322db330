// SPDX-License-Identifier: Apache-2.0
#include "TsPacket.h"

namespace tvservice {

namespace {

constexpr std::size_t HEADER_BYTES = 4;
constexpr std::size_t PCR_BYTES = 6;

std::uint64_t PcrOf(const std::uint8_t* field) {
    const std::uint64_t base = static_cast<std::uint64_t>(field[0]) << 25 |
                               static_cast<std::uint64_t>(field[1]) << 17 |
                               static_cast<std::uint64_t>(field[2]) << 9 |
                               static_cast<std::uint64_t>(field[3]) << 1 | field[4] >> 7;
    const std::uint64_t extension = static_cast<std::uint64_t>(field[4] & 1) << 8 | field[5];
    return base * 300 + extension;
}

} // namespace

std::optional<TsPacket> TsPacket::Parse(std::span<const std::uint8_t, PACKET_BYTES> bytes) {
    if ((bytes[1] & 0x80) != 0) {
        return std::nullopt;
    }
    TsPacket packet;
    packet.pid = PidOf(bytes.data());
    packet.unitStart = (bytes[1] & 0x40) != 0;
    packet.continuity = bytes[3] & 0x0F;
    const bool scrambled = (bytes[3] & 0xC0) != 0;
    const bool hasPayload = (bytes[3] & 0x10) != 0;
    std::size_t start = HEADER_BYTES;
    if ((bytes[3] & 0x20) != 0) {
        const std::size_t length = bytes[4];
        start += 1 + length;
        if (start > PACKET_BYTES || (hasPayload && start == PACKET_BYTES)) {
            return std::nullopt;
        }
        if (length > 0) {
            packet.discontinuity = (bytes[5] & 0x80) != 0;
            if ((bytes[5] & 0x10) != 0 && length >= 1 + PCR_BYTES) {
                packet.pcr = PcrOf(&bytes[6]);
            }
        }
    }
    if (hasPayload && !scrambled) {
        packet.payload = bytes.subspan(start);
    }
    return packet;
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tvservice {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t PACKET_BYTES = 188;
constexpr std::uint8_t SYNC_BYTE = 0x47;
constexpr std::size_t PID_COUNT = 0x2000;
constexpr std::uint16_t NULL_PID = 0x1FFF;

/// One transport packet (ISO/IEC 13818-1, 2.4.3.2), with nothing in it that lies outside of its
/// 188 bytes. Views of bytes that belong to somebody else.
struct TsPacket {
    std::uint16_t pid = NULL_PID;
    bool unitStart = false;     ///< payload_unit_start_indicator
    bool discontinuity = false; ///< discontinuity_indicator of the adaptation field
    std::uint8_t continuity = 0;
    std::optional<std::uint64_t> pcr; ///< in units of 1/27,000,000 s
    Bytes payload; ///< empty where the packet has none, and where it is scrambled

    /// The PID alone, of a packet's bytes.
    static std::uint16_t PidOf(const std::uint8_t* bytes) {
        return static_cast<std::uint16_t>((bytes[1] & 0x1F) << 8 | bytes[2]);
    }
    /// Nothing where the packet is marked as wrong (transport_error_indicator), or its adaptation
    /// field ends outside of it.
    static std::optional<TsPacket> Parse(std::span<const std::uint8_t, PACKET_BYTES> bytes);
};

} // namespace tvservice

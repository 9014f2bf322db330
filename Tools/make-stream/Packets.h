// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "Bytes.h"

namespace streammaker {

inline constexpr std::size_t PACKET_SIZE = 188;
inline constexpr std::uint16_t NULL_PID = 0x1FFF;

/// A transport packet (ISO/IEC 13818-1, 2.4.3.2). The functions below leave continuity_counter 0:
/// TsWriter counts.
using TsPacket = std::array<std::uint8_t, PACKET_SIZE>;

/// What the adaptation field of a packet may tell.
struct AdaptationField {
    bool discontinuity = false;
    bool randomAccess = false;
    std::optional<std::uint64_t> pcr; ///< in units of 27 MHz

    bool IsEmpty() const { return !discontinuity && !randomAccess && !pcr; }
};

std::uint16_t PidOf(const TsPacket& packet);
bool HasPayload(const TsPacket& packet);

/// Packets of a PID with these sections back to back: the last packet is stuffed, and a section
/// begins in the packet in which the one ahead of it ends. For sections that begin in packets of
/// their own, call once for each.
std::vector<TsPacket> SectionPackets(std::uint16_t pid, const std::vector<Bytes>& sections);

/// Packets of a PID with a PES packet, or with any other bytes that begin with a packet of their
/// own. The adaptation field goes to the first packet; the last one is stuffed.
std::vector<TsPacket> PesPackets(std::uint16_t pid, const Bytes& pes,
                                 const AdaptationField& first = {});

/// A packet without payload.
TsPacket AdaptationPacket(std::uint16_t pid, const AdaptationField& field);
/// A clock reference in a packet of its own, in units of 27 MHz.
TsPacket PcrPacket(std::uint16_t pid, std::uint64_t pcr);
TsPacket NullPacket();

} // namespace streammaker

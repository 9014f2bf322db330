// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Bytes.h"

/// Takes a transport stream apart, with nothing of what makes one.
class PacketReader {
public:
    struct Packet {
        std::size_t place = 0; ///< of its first byte
        std::uint16_t pid = 0;
        bool start = false;
        unsigned counter = 0;
        bool discontinuity = false;
        bool randomAccess = false;
        std::optional<std::uint64_t> pcr; ///< units of 27 MHz
        bool hasPayload = false;
        streammaker::Bytes payload;
    };
    /// A section or PES packet, and the place of the packet in which it begins.
    struct Unit {
        std::size_t place = 0;
        streammaker::Bytes bytes;
    };

    /// Throws std::runtime_error where the bytes are not whole packets in step.
    explicit PacketReader(const streammaker::Bytes& stream);

    const std::vector<Packet>& Packets() const { return m_packets; }
    std::set<std::uint16_t> Pids() const;
    /// All that ended.
    std::vector<Unit> SectionsOf(std::uint16_t pid) const;
    std::vector<Unit> SectionsOf(std::uint16_t pid, std::uint8_t tableId) const;
    std::vector<Unit> PesOf(std::uint16_t pid) const;
    /// The first break of a PID's counting, or nothing.
    std::string ContinuityBreak() const;

private:
    std::vector<Packet> m_packets;
};

/// The version_number of a section.
unsigned VersionOf(const streammaker::Bytes& section);
unsigned ExtensionOf(const streammaker::Bytes& section);

/// Of a PES packet; 0 where it has none, and the PTS for the DTS then.
std::uint64_t PtsOf(const streammaker::Bytes& pes);
std::uint64_t DtsOf(const streammaker::Bytes& pes);

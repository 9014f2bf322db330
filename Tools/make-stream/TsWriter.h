// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "Bytes.h"
#include "Packets.h"

namespace streammaker {

/// Puts packets in a row and counts them: continuity_counter goes up with each packet of a PID that
/// has a payload (ISO/IEC 13818-1, 2.4.3.3). One thread.
class TsWriter {
public:
    void Write(TsPacket packet);
    void Write(const std::vector<TsPacket>& packets);

    void WriteSection(std::uint16_t pid, const Bytes& section);
    /// Back to back, as SectionPackets says.
    void WriteSections(std::uint16_t pid, const std::vector<Bytes>& sections);
    void WritePes(std::uint16_t pid, const Bytes& pes, const AdaptationField& first = {});
    /// A clock reference in a packet of its own, in units of 27 MHz.
    void WritePcr(std::uint16_t pid, std::uint64_t pcr);
    void WriteNull(unsigned count = 1);
    /// Bytes that are no packet: what a receiver has to get over.
    void WriteRaw(const Bytes& bytes);

    /// As if the PID's next `count` packets had been lost.
    void Skip(std::uint16_t pid, unsigned count = 1);

    const Bytes& Written() const { return m_bytes; }
    /// What has been written since the last call; the counters go on.
    Bytes Take();

private:
    Bytes m_bytes;
    std::map<std::uint16_t, std::uint8_t> m_next; // continuity_counter of the PID's next payload
};

} // namespace streammaker

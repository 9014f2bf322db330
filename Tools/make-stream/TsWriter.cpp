// SPDX-License-Identifier: Apache-2.0
#include "TsWriter.h"

#include <utility>

namespace streammaker {

void TsWriter::Write(TsPacket packet) {
    const std::uint16_t pid = PidOf(packet);
    if (pid != NULL_PID) { // those are not counted
        std::uint8_t& next = m_next[pid];
        const bool counted = HasPayload(packet);
        // Without payload it repeats the number of the packet ahead of it.
        const auto number = static_cast<std::uint8_t>((counted ? next : next + 15U) & 0x0FU);
        packet[3] = static_cast<std::uint8_t>((packet[3] & 0xF0U) | number);
        next = static_cast<std::uint8_t>((next + (counted ? 1U : 0U)) & 0x0FU);
    }
    m_bytes.insert(m_bytes.end(), packet.begin(), packet.end());
}

void TsWriter::Write(const std::vector<TsPacket>& packets) {
    for (const TsPacket& packet : packets) {
        Write(packet);
    }
}

void TsWriter::WriteSection(std::uint16_t pid, const Bytes& section) {
    WriteSections(pid, {section});
}

void TsWriter::WriteSections(std::uint16_t pid, const std::vector<Bytes>& sections) {
    Write(SectionPackets(pid, sections));
}

void TsWriter::WritePes(std::uint16_t pid, const Bytes& pes, const AdaptationField& first) {
    Write(PesPackets(pid, pes, first));
}

void TsWriter::WritePcr(std::uint16_t pid, std::uint64_t pcr) {
    Write(PcrPacket(pid, pcr));
}

void TsWriter::WriteNull(unsigned count) {
    for (; count > 0; --count) {
        Write(NullPacket());
    }
}

void TsWriter::WriteRaw(const Bytes& bytes) {
    Append(m_bytes, bytes);
}

void TsWriter::Skip(std::uint16_t pid, unsigned count) {
    std::uint8_t& next = m_next[pid];
    next = static_cast<std::uint8_t>((next + count) & 0x0FU);
}

Bytes TsWriter::Take() {
    return std::exchange(m_bytes, {});
}

} // namespace streammaker

// SPDX-License-Identifier: Apache-2.0
#include "PacketReader.h"

#include <algorithm>
#include <map>
#include <stdexcept>

using streammaker::Bytes;

namespace {

constexpr std::size_t SIZE = 188;

Bytes Part(const Bytes& bytes, std::size_t from, std::size_t to) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

void ReadAdaptation(const Bytes& stream, std::size_t place, PacketReader::Packet& packet) {
    const std::size_t length = stream[place + 4];
    if (length == 0) {
        return;
    }
    const unsigned flags = stream[place + 5];
    packet.discontinuity = (flags & 0x80U) != 0;
    packet.randomAccess = (flags & 0x40U) != 0;
    if ((flags & 0x10U) != 0) {
        const std::uint8_t* const at = &stream[place + 6];
        const std::uint64_t base = std::uint64_t{at[0]} << 25 | std::uint64_t{at[1]} << 17 |
                                   std::uint64_t{at[2]} << 9 | std::uint64_t{at[3]} << 1 |
                                   at[4] >> 7U;
        packet.pcr = base * 300 + ((at[4] & 1U) << 8 | at[5]);
    }
}

PacketReader::Packet ReadPacket(const Bytes& stream, std::size_t place) {
    if (stream[place] != 0x47) {
        throw std::runtime_error("out of step at " + std::to_string(place));
    }
    PacketReader::Packet packet;
    packet.place = place;
    packet.start = (stream[place + 1] & 0x40U) != 0;
    packet.pid = static_cast<std::uint16_t>((stream[place + 1] & 0x1FU) << 8 | stream[place + 2]);
    packet.counter = stream[place + 3] & 0x0FU;
    packet.hasPayload = (stream[place + 3] & 0x10U) != 0;
    std::size_t begin = place + 4;
    if ((stream[place + 3] & 0x20U) != 0) {
        ReadAdaptation(stream, place, packet);
        begin += 1U + stream[begin];
    }
    if (begin > place + SIZE || packet.hasPayload != (begin < place + SIZE)) {
        throw std::runtime_error("a wrong adaptation field at " + std::to_string(place));
    }
    packet.payload = Part(stream, begin, place + SIZE);
    return packet;
}

// Takes the whole sections off the begin of `bytes`; behind them may be stuffing, and nothing else.
void TakeSections(Bytes& bytes, std::size_t place, std::vector<PacketReader::Unit>& sections) {
    while (bytes.size() >= 3 && bytes[0] != 0xFF) {
        const std::size_t size = 3U + ((bytes[1] & 0x0FU) << 8 | bytes[2]);
        if (bytes.size() < size) {
            return;
        }
        sections.push_back({place, Part(bytes, 0, size)});
        bytes = Part(bytes, size, bytes.size());
    }
    if (!bytes.empty() && bytes[0] == 0xFF) {
        if (std::any_of(bytes.begin(), bytes.end(), [](unsigned byte) { return byte != 0xFF; })) {
            throw std::runtime_error("bytes behind the stuffing at " + std::to_string(place));
        }
        bytes.clear();
    }
}

std::uint64_t TimeAt(const Bytes& bytes, std::size_t at) {
    return (bytes[at] >> 1U & 7ULL) << 30 |
           static_cast<std::uint64_t>((bytes[at + 1] << 8 | bytes[at + 2]) >> 1) << 15 |
           static_cast<std::uint64_t>((bytes[at + 3] << 8 | bytes[at + 4]) >> 1);
}

} // namespace

PacketReader::PacketReader(const Bytes& stream) {
    if (stream.size() % SIZE != 0) {
        throw std::runtime_error("not whole packets");
    }
    for (std::size_t place = 0; place < stream.size(); place += SIZE) {
        m_packets.push_back(ReadPacket(stream, place));
    }
}

std::set<std::uint16_t> PacketReader::Pids() const {
    std::set<std::uint16_t> pids;
    for (const Packet& packet : m_packets) {
        pids.insert(packet.pid);
    }
    return pids;
}

std::vector<PacketReader::Unit> PacketReader::SectionsOf(std::uint16_t pid) const {
    std::vector<Unit> sections;
    Bytes waiting;
    bool inStep = false;
    for (const Packet& packet : m_packets) {
        if (packet.pid != pid || !packet.hasPayload) {
            continue;
        }
        if (!packet.start) {
            if (inStep) {
                const std::size_t known = sections.size();
                waiting.insert(waiting.end(), packet.payload.begin(), packet.payload.end());
                TakeSections(waiting, packet.place, sections);
                if (sections.size() > known + 1 || (sections.size() > known && !waiting.empty())) {
                    throw std::runtime_error("a section begins where no start is told, at " +
                                             std::to_string(packet.place));
                }
            }
            continue;
        }
        const std::size_t begin = 1U + packet.payload[0];
        if (begin >= packet.payload.size()) {
            throw std::runtime_error("a pointer out of its packet");
        }
        const Bytes end = Part(packet.payload, 1, begin);
        waiting.insert(waiting.end(), end.begin(), end.end());
        TakeSections(waiting, packet.place, sections);
        if (inStep && !waiting.empty()) {
            throw std::runtime_error("a section is cut at " + std::to_string(packet.place));
        }
        inStep = true;
        waiting = Part(packet.payload, begin, packet.payload.size());
        TakeSections(waiting, packet.place, sections);
    }
    return sections;
}

std::vector<PacketReader::Unit> PacketReader::SectionsOf(std::uint16_t pid,
                                                         std::uint8_t tableId) const {
    std::vector<Unit> sections = SectionsOf(pid);
    std::erase_if(sections, [tableId](const Unit& unit) { return unit.bytes[0] != tableId; });
    return sections;
}

std::vector<PacketReader::Unit> PacketReader::PesOf(std::uint16_t pid) const {
    std::vector<Unit> units;
    for (const Packet& packet : m_packets) {
        if (packet.pid != pid || !packet.hasPayload) {
            continue;
        }
        if (packet.start) {
            units.push_back({packet.place, {}});
        }
        if (!units.empty()) {
            Bytes& bytes = units.back().bytes;
            bytes.insert(bytes.end(), packet.payload.begin(), packet.payload.end());
        }
    }
    return units;
}

std::string PacketReader::ContinuityBreak() const {
    constexpr std::uint16_t NULL_PACKETS = 0x1FFF;
    std::map<std::uint16_t, unsigned> last;
    for (const Packet& packet : m_packets) {
        if (packet.pid == NULL_PACKETS) {
            continue;
        }
        const auto found = last.find(packet.pid);
        if (found != last.end() &&
            packet.counter != (found->second + (packet.hasPayload ? 1U : 0U)) % 16) {
            return "PID " + std::to_string(packet.pid) + " at " + std::to_string(packet.place);
        }
        last[packet.pid] = packet.counter;
    }
    return {};
}

unsigned VersionOf(const Bytes& section) {
    return section.at(5) >> 1U & 0x1FU;
}

unsigned ExtensionOf(const Bytes& section) {
    return static_cast<unsigned>(section.at(3)) << 8 | section.at(4);
}

std::uint64_t PtsOf(const Bytes& pes) {
    return (pes[7] & 0x80U) != 0 ? TimeAt(pes, 9) : 0;
}

std::uint64_t DtsOf(const Bytes& pes) {
    return (pes[7] & 0x40U) != 0 ? TimeAt(pes, 14) : PtsOf(pes);
}

// SPDX-License-Identifier: Apache-2.0
#include "Packets.h"

#include <algorithm>
#include <span>
#include <stdexcept>

namespace streammaker {

namespace {

constexpr std::uint8_t SYNC_BYTE = 0x47;
constexpr std::uint8_t STUFFING = 0xFF;
constexpr std::size_t HEADER_SIZE = 4;
constexpr std::size_t LONGEST_PAYLOAD = PACKET_SIZE - HEADER_SIZE;
constexpr std::uint8_t HAS_ADAPTATION = 0x20;
constexpr std::uint8_t HAS_PAYLOAD = 0x10;

Bytes Packed(const AdaptationField& field) {
    Bytes bytes;
    bytes.push_back(static_cast<std::uint8_t>((field.discontinuity ? 0x80U : 0U) |
                                              (field.randomAccess ? 0x40U : 0U) |
                                              (field.pcr ? 0x10U : 0U)));
    if (field.pcr) {
        const std::uint64_t base = *field.pcr / 300 % (1ULL << 33);
        const std::uint64_t extension = *field.pcr % 300;
        const std::uint64_t packed = base << 15 | 0x3FULL << 9 | extension;
        for (int shift = 40; shift >= 0; shift -= 8) {
            bytes.push_back(Byte(packed, static_cast<unsigned>(shift)));
        }
    }
    return bytes;
}

void WriteHeader(TsPacket& packet, std::uint16_t pid, bool start, std::uint8_t control) {
    if (pid > NULL_PID) {
        throw std::invalid_argument("a PID has 13 bits");
    }
    packet[0] = SYNC_BYTE;
    packet[1] = static_cast<std::uint8_t>((start ? 0x40U : 0U) | Byte(pid, 8));
    packet[2] = Byte(pid);
    packet[3] = control;
}

// A packet with an adaptation field of `size` bytes, its length included.
void WriteAdaptation(TsPacket& packet, const AdaptationField& field, std::size_t size) {
    auto* to = packet.begin() + HEADER_SIZE;
    *to++ = static_cast<std::uint8_t>(size - 1);
    if (size > 1) {
        const Bytes bytes = Packed(field);
        std::fill(std::copy(bytes.begin(), bytes.end(), to),
                  packet.begin() + HEADER_SIZE + static_cast<std::ptrdiff_t>(size), STUFFING);
    }
}

// As much of the payload as fits behind the adaptation field; cuts it off.
TsPacket MakePacket(std::uint16_t pid, bool start, const AdaptationField& field,
                    std::span<const std::uint8_t>& payload) {
    const std::size_t needed = field.IsEmpty() ? 0 : 1 + Packed(field).size();
    const std::size_t taken = std::min(payload.size(), LONGEST_PAYLOAD - needed);
    const std::size_t adaptation = LONGEST_PAYLOAD - taken;
    TsPacket packet{};
    WriteHeader(packet, pid, start,
                static_cast<std::uint8_t>((adaptation > 0 ? HAS_ADAPTATION : 0U) |
                                          (taken > 0 ? HAS_PAYLOAD : 0U)));
    if (adaptation > 0) {
        WriteAdaptation(packet, field, adaptation);
    }
    std::copy_n(payload.begin(), taken, packet.end() - static_cast<std::ptrdiff_t>(taken));
    payload = payload.subspan(taken);
    return packet;
}

} // namespace

std::uint16_t PidOf(const TsPacket& packet) {
    return static_cast<std::uint16_t>((packet[1] & 0x1FU) << 8 | packet[2]);
}

bool HasPayload(const TsPacket& packet) {
    return (packet[3] & HAS_PAYLOAD) != 0;
}

std::vector<TsPacket> SectionPackets(std::uint16_t pid, const std::vector<Bytes>& sections) {
    Bytes bytes;
    std::vector<std::size_t> starts;
    for (const Bytes& section : sections) {
        starts.push_back(bytes.size());
        Append(bytes, section);
    }
    std::vector<TsPacket> packets;
    auto next = starts.begin();
    for (std::size_t at = 0; at < bytes.size();) {
        // A section that begins with this packet's last byte would have no room for the pointer.
        const bool starting = next != starts.end() && *next < at + LONGEST_PAYLOAD - 1;
        TsPacket packet;
        packet.fill(STUFFING);
        WriteHeader(packet, pid, starting, HAS_PAYLOAD);
        auto* to = packet.begin() + HEADER_SIZE;
        std::size_t end = at + LONGEST_PAYLOAD;
        if (starting) {
            *to++ = static_cast<std::uint8_t>(*next - at);
            --end;
        } else if (next != starts.end()) {
            end = std::min(end, *next); // the next one waits for its own packet
        }
        end = std::min(end, bytes.size());
        std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                  bytes.begin() + static_cast<std::ptrdiff_t>(end), to);
        next = std::lower_bound(next, starts.end(), end);
        at = end;
        packets.push_back(packet);
    }
    return packets;
}

std::vector<TsPacket> PesPackets(std::uint16_t pid, const Bytes& pes,
                                 const AdaptationField& first) {
    std::vector<TsPacket> packets;
    std::span<const std::uint8_t> rest = pes;
    while (!rest.empty()) {
        const bool start = packets.empty();
        packets.push_back(MakePacket(pid, start, start ? first : AdaptationField(), rest));
    }
    return packets;
}

TsPacket AdaptationPacket(std::uint16_t pid, const AdaptationField& field) {
    std::span<const std::uint8_t> nothing;
    return MakePacket(pid, false, field, nothing);
}

TsPacket PcrPacket(std::uint16_t pid, std::uint64_t pcr) {
    AdaptationField field;
    field.pcr = pcr;
    return AdaptationPacket(pid, field);
}

TsPacket NullPacket() {
    TsPacket packet;
    packet.fill(STUFFING);
    WriteHeader(packet, NULL_PID, false, HAS_PAYLOAD);
    return packet;
}

} // namespace streammaker

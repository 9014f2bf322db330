// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <vector>

#include "TsPacket.h"

namespace tvservice {

/// Finds the packets in a run of bytes, also where it begins in the middle of one or where bytes
/// are missing or wrong. One thread.
///
/// The step is found where three sync bytes stand a packet apart. In step, a packet whose sync byte
/// is wrong is skipped where the next one's is right; else the search begins anew behind it.
class PacketSync {
public:
    PacketSync();

    /// Where the next bytes are to be written, at least `size` of them; then say how many came.
    std::span<std::uint8_t> Room(std::size_t size);
    void Filled(std::size_t size);

    /// The next packet, or nothing until there are more bytes. It holds until Room is called.
    std::optional<std::span<const std::uint8_t, PACKET_BYTES>> Next() {
        const bool isThere = m_inStep && Available() >= PACKET_BYTES && IsSync(0);
        if (!isThere && !Search()) {
            return std::nullopt;
        }
        const std::uint8_t* packet = m_buffer.data() + m_begin;
        m_begin += PACKET_BYTES;
        return std::span<const std::uint8_t, PACKET_BYTES>(packet, PACKET_BYTES);
    }

    /// Forgets what is there: what comes next belongs to something else.
    void Clear();

    bool InStep() const { return m_inStep; }
    std::uint64_t SkippedBytes() const { return m_skipped; }

private:
    std::size_t Available() const { return m_end - m_begin; }
    bool IsSync(std::size_t packet) const {
        return m_buffer[m_begin + packet * PACKET_BYTES] == SYNC_BYTE;
    }
    void Skip(std::size_t size);
    bool Search();
    bool FindStep();
    bool KeepStep();

    std::vector<std::uint8_t> m_buffer; // what isn't used yet is [m_begin, m_end)
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    bool m_inStep = false;
    std::uint64_t m_skipped = 0;
};

} // namespace tvservice

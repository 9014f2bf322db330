// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "TsPacket.h"

namespace tvservice {

/// Says when a packet is due by the stream's program clock reference (ISO/IEC 13818-1, 2.4.2.2).
/// The first PID that carries one sets the pace, until it is silent for a second by the clock of
/// another one. A jump of the reference, and a reader that has fallen behind, begin the count anew.
/// One thread.
class ClockPacer {
public:
    using Clock = std::chrono::steady_clock;

    /// When the packet is to be handed on; nothing where it is due at once.
    std::optional<Clock::time_point> DueAt(std::span<const std::uint8_t, PACKET_BYTES> bytes,
                                           Clock::time_point now);
    void Reset() { *this = ClockPacer(); }

private:
    bool TakesOver(const TsPacket& other);

    std::uint16_t m_pid = NULL_PID;
    std::uint16_t m_otherPid = NULL_PID; // the first other one that has come since m_pid's last
    std::uint64_t m_otherPcr = 0;        // and the first that it has told
    std::uint64_t m_sinceReference = 0;  // packets
    std::uint64_t m_lastPcr = 0;
    std::uint64_t m_firstPcr = 0;
    Clock::time_point m_firstTime{};
};

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#include "ClockPacer.h"

namespace tvservice {

namespace {

constexpr std::uint64_t TICKS_PER_SECOND = 27000000;
constexpr std::uint64_t LARGEST_STEP = TICKS_PER_SECOND; // between two references; 0.1 s is allowed
constexpr std::uint64_t LONGEST_SILENCE = LARGEST_STEP;  // by another PID's clock
constexpr std::uint64_t MOST_PACKETS = 100000;           // in it, whatever that clock tells
constexpr std::chrono::seconds FARTHEST_BEHIND(1);

} // namespace

std::optional<ClockPacer::Clock::time_point>
ClockPacer::DueAt(std::span<const std::uint8_t, PACKET_BYTES> bytes, Clock::time_point now) {
    ++m_sinceReference;
    constexpr std::uint8_t HAS_ADAPTATION_FIELD = 0x20;
    if ((bytes[3] & HAS_ADAPTATION_FIELD) == 0) {
        return std::nullopt;
    }
    const std::optional<TsPacket> packet = TsPacket::Parse(bytes);
    if (!packet || !packet->pcr) {
        return std::nullopt;
    }
    const bool isOther = packet->pid != m_pid;
    if (isOther && !TakesOver(*packet)) {
        return std::nullopt;
    }
    m_otherPid = NULL_PID;
    const std::uint64_t pcr = *packet->pcr;
    const bool jumps = pcr < m_lastPcr || pcr - m_lastPcr > LARGEST_STEP || packet->discontinuity;
    m_sinceReference = 0;
    m_lastPcr = pcr;
    if (isOther || jumps) {
        m_pid = packet->pid;
        m_firstPcr = pcr;
        m_firstTime = now;
        return std::nullopt;
    }
    const std::uint64_t ticks = pcr - m_firstPcr;
    const Clock::time_point due = m_firstTime + std::chrono::seconds(ticks / TICKS_PER_SECOND) +
                                  std::chrono::nanoseconds(ticks % TICKS_PER_SECOND * 1000 / 27);
    if (now - due > FARTHEST_BEHIND) {
        m_firstPcr = pcr;
        m_firstTime = now;
    }
    return due > now ? std::optional(due) : std::nullopt;
}

bool ClockPacer::TakesOver(const TsPacket& other) {
    if (m_pid == NULL_PID || m_sinceReference >= MOST_PACKETS) {
        return true;
    }
    if (m_otherPid == NULL_PID) {
        m_otherPid = other.pid;
        m_otherPcr = *other.pcr;
    }
    if (m_otherPid != other.pid) {
        return false;
    }
    if (*other.pcr < m_otherPcr || other.discontinuity) {
        m_otherPcr = *other.pcr;
    }
    return *other.pcr - m_otherPcr > LONGEST_SILENCE;
}

} // namespace tvservice

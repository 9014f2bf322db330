// SPDX-License-Identifier: Apache-2.0
#include "PacketSync.h"

#include <cstring>

namespace tvservice {

namespace {

constexpr std::size_t SEARCHED_BYTES = 2 * PACKET_BYTES + 1; // what holds three sync bytes

} // namespace

PacketSync::PacketSync() = default;

std::span<std::uint8_t> PacketSync::Room(std::size_t size) {
    if (m_begin > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, Available());
        m_end -= m_begin;
        m_begin = 0;
    }
    if (m_buffer.size() < m_end + size) {
        m_buffer.resize(m_end + size);
    }
    return std::span(m_buffer).subspan(m_end);
}

void PacketSync::Filled(std::size_t size) {
    m_end += size;
}

void PacketSync::Clear() {
    m_begin = m_end = 0;
    m_inStep = false;
}

void PacketSync::Skip(std::size_t size) {
    m_begin += size;
    m_skipped += size;
}

// To a place where three sync bytes stand a packet apart.
bool PacketSync::FindStep() {
    while (Available() >= SEARCHED_BYTES) {
        const void* found =
            std::memchr(m_buffer.data() + m_begin, SYNC_BYTE, Available() - (SEARCHED_BYTES - 1));
        if (found == nullptr) {
            Skip(Available() - (SEARCHED_BYTES - 1));
            return false;
        }
        Skip(static_cast<const std::uint8_t*>(found) - (m_buffer.data() + m_begin));
        if (IsSync(1) && IsSync(2)) {
            return true;
        }
        Skip(1);
    }
    return false;
}

// In step, at the next packet with a sync byte: true where there is one.
bool PacketSync::KeepStep() {
    while (Available() >= PACKET_BYTES) {
        if (IsSync(0)) {
            return true;
        }
        if (Available() <= PACKET_BYTES) {
            return false; // the next one's tells
        }
        if (!IsSync(1)) {
            m_inStep = false;
            return false;
        }
        Skip(PACKET_BYTES);
    }
    return false;
}

// To the next packet where it isn't simply there: true where there is one.
bool PacketSync::Search() {
    if (m_inStep && KeepStep()) {
        return true;
    }
    if (!m_inStep) {
        m_inStep = FindStep();
        return m_inStep;
    }
    return false;
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#include "StartCodeScanner.h"

#include <algorithm>
#include <cstring>

namespace tvservice {

void StartCodeScanner::Reset() {
    m_zeros = 0;
    m_startFollows = false;
    m_wanted = 0;
    m_unit.clear();
}

void StartCodeScanner::BeginUnit(std::uint8_t firstByte) {
    m_unit.clear();
    m_wanted = m_sink.OnUnitStart(firstByte);
    m_startFollows = false;
}

void StartCodeScanner::Capture(Bytes bytes) {
    const std::size_t size = std::min(bytes.size(), m_wanted - m_unit.size());
    m_unit.insert(m_unit.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
}

void StartCodeScanner::EndUnit() {
    if (m_wanted > 0) {
        m_wanted = 0;
        m_sink.OnUnit(m_unit);
    }
}

void StartCodeScanner::Push(Bytes bytes) {
    std::size_t begin = 0; // of what hasn't been captured
    std::size_t from = 0;  // of what hasn't been searched
    if (bytes.empty()) {
        return;
    }
    if (m_startFollows) {
        BeginUnit(bytes[0]);
    }
    while (from < bytes.size()) {
        const void* found = std::memchr(bytes.data() + from, 1, bytes.size() - from);
        if (found == nullptr) {
            break;
        }
        const auto one =
            static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes.data());
        from = one + 1;
        const bool firstZero = one >= 2 ? bytes[one - 2] == 0 : m_zeros + one >= 2;
        const bool secondZero = one >= 1 ? bytes[one - 1] == 0 : m_zeros >= 1;
        if (!firstZero || !secondZero) {
            continue;
        }
        if (m_wanted > 0) {
            Capture(bytes.subspan(begin, one - std::min<std::size_t>(one, 2) - begin));
            EndUnit();
        }
        begin = from;
        if (from == bytes.size()) {
            m_startFollows = true;
            m_zeros = 0;
            return;
        }
        BeginUnit(bytes[from]);
    }
    if (m_wanted > 0) {
        Capture(bytes.subspan(begin));
    }
    const std::size_t size = bytes.size();
    if (bytes[size - 1] != 0) {
        m_zeros = 0;
    } else if (size >= 2) {
        m_zeros = bytes[size - 2] == 0 ? 2 : 1;
    } else {
        m_zeros = std::min(m_zeros + 1, 2U);
    }
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>

#include "TsPacket.h"

namespace tvservice {

/// Takes numbers and runs of bytes from the beginning of what is there. What isn't there is read as
/// zero, or as less than was asked for, and the reader remembers that it was short: it is looked at
/// once, where that is easiest.
class ByteReader {
public:
    explicit ByteReader(Bytes bytes) : m_bytes(bytes) {}

    /// A number of so many bytes, 8 at most, the highest first.
    std::uint64_t Number(std::size_t bytes) {
        std::uint64_t number = 0;
        for (const std::uint8_t byte : Take(bytes)) {
            number = number << 8 | byte;
        }
        return number;
    }
    std::uint8_t Byte() { return static_cast<std::uint8_t>(Number(1)); }
    std::uint16_t Word() { return static_cast<std::uint16_t>(Number(2)); }

    Bytes Take(std::size_t size) {
        m_isShort = m_isShort || size > m_bytes.size();
        const Bytes taken = m_bytes.first(std::min(size, m_bytes.size()));
        m_bytes = m_bytes.subspan(taken.size());
        return taken;
    }

    bool IsEmpty() const { return m_bytes.empty(); }
    /// More was asked for than there was.
    bool IsShort() const { return m_isShort; }

private:
    Bytes m_bytes;
    bool m_isShort = false;
};

} // namespace tvservice

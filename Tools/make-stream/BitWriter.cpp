// SPDX-License-Identifier: Apache-2.0
#include "BitWriter.h"

#include <bit>

namespace streammaker {

void BitWriter::Put(unsigned count, std::uint32_t value) {
    while (count > 0) {
        --count;
        if (m_used == 8) {
            m_bytes.push_back(0);
            m_used = 0;
        }
        ++m_used;
        m_bytes.back() |= static_cast<std::uint8_t>((value >> count & 1U) << (8 - m_used));
    }
}

void BitWriter::PutBytes(const Bytes& bytes) {
    for (const std::uint8_t byte : bytes) {
        Put(8, byte);
    }
}

void BitWriter::PutUnsigned(std::uint32_t value) {
    const auto width = static_cast<unsigned>(std::bit_width(value + 1));
    Put(width - 1, 0);
    Put(width, value + 1);
}

void BitWriter::PutSigned(std::int32_t value) {
    PutUnsigned(value > 0 ? static_cast<std::uint32_t>(value) * 2 - 1
                          : static_cast<std::uint32_t>(-value) * 2);
}

void BitWriter::Align() {
    m_used = 8;
}

void BitWriter::PutTrailingBits() {
    Put(1, 1);
    Align();
}

} // namespace streammaker

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "Bytes.h"

namespace streammaker {

/// Puts bits in a row, the first one highest in its byte. One thread.
class BitWriter {
public:
    /// The lowest `count` bits of the value, 0 to 32 of them.
    void Put(unsigned count, std::uint32_t value);
    void PutBytes(const Bytes& bytes);
    /// ISO/IEC 14496-10, 9.1: ue(v).
    void PutUnsigned(std::uint32_t value);
    /// ISO/IEC 14496-10, 9.1.1: se(v).
    void PutSigned(std::int32_t value);

    /// Up to a whole byte, with zero bits.
    void Align();
    /// A bit of one, then up to a whole byte: rbsp_trailing_bits (ISO/IEC 14496-10, 7.3.2.11).
    void PutTrailingBits();

    /// What was put so far; zero bits fill the last byte.
    const Bytes& Written() const { return m_bytes; }

private:
    Bytes m_bytes;
    unsigned m_used = 8; // bits of the last byte
};

} // namespace streammaker

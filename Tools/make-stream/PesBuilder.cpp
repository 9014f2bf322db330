// SPDX-License-Identifier: Apache-2.0
#include "PesBuilder.h"

#include <stdexcept>

namespace streammaker {

namespace {

constexpr std::size_t LONGEST_LENGTH = 0xFFFF;

// ISO/IEC 13818-1, 2.4.3.7: the stream_ids whose packets hold only data.
bool HasOptionalHeader(std::uint8_t streamId) {
    switch (streamId) {
    case 0xBC: // program_stream_map
    case 0xBE: // padding_stream
    case 0xBF: // private_stream_2
    case 0xF0: // ECM
    case 0xF1: // EMM
    case 0xF2: // DSMCC_stream
    case 0xF8: // ITU-T H.222.1 type E
    case 0xFF: // program_stream_directory
        return false;
    default:
        return true;
    }
}

// 33 bits in five bytes, behind each part a bit of one.
void AppendTime(Bytes& bytes, std::uint8_t prefix, std::uint64_t time) {
    bytes.push_back(static_cast<std::uint8_t>(prefix << 4U | (time >> 30 & 7U) << 1 | 1U));
    Append16(bytes, static_cast<std::uint16_t>((time >> 15 & 0x7FFFU) << 1 | 1U));
    Append16(bytes, static_cast<std::uint16_t>((time & 0x7FFFU) << 1 | 1U));
}

} // namespace

Bytes PesBuilder::Build() const {
    if (dts && !pts) {
        throw std::invalid_argument("a PES packet has no DTS without PTS");
    }
    Bytes bytes{0, 0, 1, streamId, 0, 0};
    if (HasOptionalHeader(streamId)) {
        bytes.push_back(dataAlignment ? 0x84 : 0x80);
        bytes.push_back(static_cast<std::uint8_t>((pts ? 0x80U : 0U) | (dts ? 0x40U : 0U)));
        bytes.push_back(static_cast<std::uint8_t>((pts ? 5U : 0U) + (dts ? 5U : 0U)));
        if (pts) {
            AppendTime(bytes, dts ? 3 : 2, *pts);
        }
        if (dts) {
            AppendTime(bytes, 1, *dts);
        }
    }
    Append(bytes, payload);
    if (!unbounded) {
        const std::size_t length = bytes.size() - 6;
        if (length > LONGEST_LENGTH) {
            throw std::length_error("a PES packet with a length has at most 65541 bytes");
        }
        bytes[4] = Byte(length, 8);
        bytes[5] = Byte(length);
    }
    return bytes;
}

} // namespace streammaker

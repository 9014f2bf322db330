// SPDX-License-Identifier: Apache-2.0
#include "PesHeader.h"

namespace tvservice {

namespace {

constexpr TimeStamp WRAP = TimeStamp{1} << 33;
constexpr std::size_t TIME_BYTES = 5;
constexpr std::size_t EXTENSION_BYTES = 3; // flags and PES_header_data_length

// The streams whose packets have no header beyond the first six bytes: program_stream_map,
// padding, private_stream_2, ECM, EMM, program_stream_directory, DSM-CC, H.222.1 type E.
bool HasExtension(std::uint8_t streamId) {
    switch (streamId) {
    case 0xBC:
    case 0xBE:
    case 0xBF:
    case 0xF0:
    case 0xF1:
    case 0xF2:
    case 0xF8:
    case 0xFF:
        return false;
    default:
        return true;
    }
}

TimeStamp TimeOf(Bytes field) {
    return static_cast<TimeStamp>(field[0] >> 1 & 0x07) << 30 |
           static_cast<TimeStamp>(field[1]) << 22 | static_cast<TimeStamp>(field[2] >> 1) << 15 |
           static_cast<TimeStamp>(field[3]) << 7 | static_cast<TimeStamp>(field[4] >> 1);
}

} // namespace

std::int64_t Distance(TimeStamp earlier, TimeStamp later) {
    const TimeStamp ahead = (later - earlier) & (WRAP - 1);
    return ahead < WRAP / 2 ? static_cast<std::int64_t>(ahead)
                            : static_cast<std::int64_t>(ahead) - static_cast<std::int64_t>(WRAP);
}

std::optional<std::size_t> PesHeader::LengthOf(Bytes start) {
    const std::size_t length = static_cast<std::size_t>(start[4]) << 8 | start[5];
    if (length == 0) {
        return std::nullopt;
    }
    return START_BYTES + length;
}

std::optional<PesHeader> PesHeader::Parse(Bytes bytes) {
    if (!IsStart(bytes)) {
        return std::nullopt;
    }
    PesHeader header;
    header.streamId = bytes[3];
    if (!HasExtension(header.streamId)) {
        return header;
    }
    if (bytes.size() < START_BYTES + EXTENSION_BYTES) {
        return std::nullopt;
    }
    const std::uint8_t flags = bytes[7];
    const std::size_t fieldsLength = bytes[8];
    header.dataOffset = START_BYTES + EXTENSION_BYTES + fieldsLength;
    if (header.dataOffset > bytes.size()) {
        return std::nullopt;
    }
    const Bytes fields = bytes.subspan(START_BYTES + EXTENSION_BYTES, fieldsLength);
    if ((flags & 0x80) != 0 && fields.size() >= TIME_BYTES) {
        header.pts = TimeOf(fields);
        if ((flags & 0x40) != 0 && fields.size() >= 2 * TIME_BYTES) {
            header.dts = TimeOf(fields.subspan(TIME_BYTES));
        }
    }
    return header;
}

} // namespace tvservice

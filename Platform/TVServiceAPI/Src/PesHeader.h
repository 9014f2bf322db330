// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "TsPacket.h"

namespace tvservice {

/// A time stamp of 33 bits in units of 1/90,000 s.
using TimeStamp = std::uint64_t;

/// How far `later` lies behind `earlier`, over the wrap of their 33 bits; below 0 where it is
/// ahead.
std::int64_t Distance(TimeStamp earlier, TimeStamp later);

/// What stands ahead of a PES packet's data (ISO/IEC 13818-1, 2.4.3.6).
struct PesHeader {
    static constexpr std::size_t START_BYTES = 6; ///< start code, stream_id, PES_packet_length

    std::uint8_t streamId = 0;
    std::optional<TimeStamp> pts;
    std::optional<TimeStamp> dts;
    std::size_t dataOffset = START_BYTES; ///< where the data begins

    /// Whether a PES packet begins here.
    static bool IsStart(Bytes bytes) {
        return bytes.size() >= START_BYTES && bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 1;
    }
    /// The whole length by PES_packet_length; nothing where it is 0, which leaves it open.
    static std::optional<std::size_t> LengthOf(Bytes start);
    /// Nothing where no PES packet begins here, or the header isn't whole.
    static std::optional<PesHeader> Parse(Bytes bytes);
};

} // namespace tvservice

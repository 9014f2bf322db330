// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "Bytes.h"

namespace streammaker {

inline constexpr std::uint8_t STREAM_ID_PRIVATE_1 = 0xBD;
inline constexpr std::uint8_t STREAM_ID_VIDEO = 0xE0;

/// Makes a PES packet (ISO/IEC 13818-1, 2.4.3.6). One thread.
struct PesBuilder {
    std::uint8_t streamId = STREAM_ID_PRIVATE_1;
    std::optional<std::uint64_t> pts; ///< units of 90 kHz; the lowest 33 bits are written
    std::optional<std::uint64_t> dts; ///< only beside a PTS
    bool dataAlignment = false;
    bool unbounded = false; ///< PES_packet_length is 0, as only video may have it
    Bytes payload;

    /// The whole packet. Streams whose packets have no optional header (padding, private_stream_2
    /// and the like) get none. Throws std::length_error where a bounded one would be too long, and
    /// std::invalid_argument for a DTS alone.
    Bytes Build() const;
};

} // namespace streammaker

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// Bits of TSPESData::word_c above the stream_id in bits 0 to 7. Of a packet that doesn't tell its
/// length nobody knows that it is cut where the stream breaks off.
enum EPESDataFlags : unsigned int {
    PES_HAS_PTS = 0x100, ///< word_a holds a time
    PES_DAMAGED = 0x200, ///< transport packets of it are missing or marked as wrong, or it is cut
};

/// One PES packet (ISO/IEC 13818-1, 2.4.3.6), as it came.
struct TSPESData {
    std::int32_t profile = 0; ///< an EProfile: of the subscriber
    std::uint32_t screen = 0;
    std::int32_t subscription = 0;    ///< the id that SubscribePESData wrote
    std::uint32_t word_a = 0;         ///< PTS (ISO/IEC 13818-1, 2.4.3.7) by two: in 1/45,000 s
    std::uint16_t short_b = 0;        ///< PID
    std::uint32_t word_c = 0;         ///< stream_id (ISO/IEC 13818-1, table 2-22) and EPESDataFlags
    std::vector<unsigned char> bytes; ///< the whole packet from its start code on
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// What the bytes of a caption are: TSCaption::word_a.
enum ECaptionFormat : unsigned int {
    /// cc_data of one picture (CTA-708, 4.4; ATSC A/53 part 4, 6.2.3): three bytes for each pair of
    /// CEA-608 or CEA-708 data, first the one with marker_bits, cc_valid and cc_type. Captions come
    /// in the order in which their pictures are shown.
    CAPTION_CC_DATA = 1,
    /// A whole PES packet, its header included, with DVB subtitles (EN 300 743, 7.1).
    CAPTION_DVB_SUBTITLE = 2,
    /// A whole PES packet, its header included, with EBU teletext (EN 300 472, 4).
    CAPTION_TELETEXT = 3,
};

/// A packet of caption data of the program that a screen shows.
class TSCaption {
public:
    TSCaption();
    TSCaption(const TSCaption&);
    TSCaption(TSCaption&&) noexcept;
    TSCaption& operator=(const TSCaption&);
    TSCaption& operator=(TSCaption&&) noexcept;
    virtual ~TSCaption();

    std::uint32_t word_a = 0; ///< an ECaptionFormat
    std::uint8_t byte_b = 0;  ///< 1 where word_c holds a time, else 0
    std::uint32_t word_c = 0; ///< PTS (ISO/IEC 13818-1, 2.4.3.7) by two: in 1/45,000 s
    std::vector<unsigned char> bytes;
};

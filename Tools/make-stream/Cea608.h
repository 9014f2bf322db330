// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace streammaker {

/// Two bytes of line 21, each with odd parity (CEA-608).
using CaptionPair = std::array<std::uint8_t, 2>;

inline constexpr CaptionPair CAPTION_PADDING{0x80, 0x80};

/// How a caption comes onto the screen.
enum class CaptionStyle {
    POP_ON,   ///< made out of sight, then shown as a whole
    ROLL_UP,  ///< in the lowest row, and what stood there one row up
    PAINT_ON, ///< as it comes
};

/// The pairs for a caption in channel 1 of field 1, control codes sent twice. The text is UTF-8 of
/// lines of at most 32 characters: at most four of them, whose last one stands in row 15; one for
/// roll-up. Throws std::invalid_argument for other text, and for characters that CEA-608 doesn't
/// have in its basic and special sets.
std::vector<CaptionPair> CaptionPairs(std::string_view text, CaptionStyle style);

/// The pairs that take the caption from the screen.
std::vector<CaptionPair> CaptionErasure();

/// The pair with odd parity.
CaptionPair WithParity(std::uint8_t first, std::uint8_t second);

} // namespace streammaker

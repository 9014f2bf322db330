// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// The character sets of CEA-608 as Unicode. Bytes come without their parity bit.

/// The basic set: one byte from 0x20 to 0x7F.
char32_t BasicCharacter(std::uint8_t byte);

/// The special set: the second byte, 0x30 to 0x3F, of a pair whose first is 0x11. The transparent
/// space is 0.
char32_t SpecialCharacter(std::uint8_t second);

/// The extended sets: the second byte, 0x20 to 0x3F, of a pair whose first is 0x12 (Spanish, French
/// and marks) or 0x13 (Portuguese, German, Danish and corners).
char32_t ExtendedCharacter(std::uint8_t first, std::uint8_t second);

// SPDX-License-Identifier: Apache-2.0
#include "Cea608Characters.h"

#include <string_view>

namespace {

using namespace std::string_view_literals;

// From their first code on.
constexpr std::u32string_view SPECIAL = U"®°½¿™¢£♪à\0èâêîôû"sv;
constexpr std::u32string_view EXTENDED_12 = U"ÁÉÓÚÜü‘¡*'—©℠•“”ÀÂÇÈÊËëÎÏïÔÙùÛ«»"sv;
constexpr std::u32string_view EXTENDED_13 = U"ÃãÍÌìÒòÕõ{}\\^_|~ÄäÖöß¥¤│ÅåØø┌┐└┘"sv;
static_assert(SPECIAL.size() == 0x10);
static_assert(EXTENDED_12.size() == 0x20 && EXTENDED_13.size() == 0x20);

} // namespace

char32_t BasicCharacter(std::uint8_t byte) {
    switch (byte) { // where it isn't ASCII
    case 0x27:
        return U'’';
    case 0x2A:
        return U'á';
    case 0x5C:
        return U'é';
    case 0x5E:
        return U'í';
    case 0x5F:
        return U'ó';
    case 0x60:
        return U'ú';
    case 0x7B:
        return U'ç';
    case 0x7C:
        return U'÷';
    case 0x7D:
        return U'Ñ';
    case 0x7E:
        return U'ñ';
    case 0x7F:
        return U'█';
    default:
        return byte;
    }
}

char32_t SpecialCharacter(std::uint8_t second) {
    return SPECIAL[second & 0x0FU];
}

char32_t ExtendedCharacter(std::uint8_t first, std::uint8_t second) {
    return (first == 0x12 ? EXTENDED_12 : EXTENDED_13)[second & 0x1FU];
}

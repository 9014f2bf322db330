// SPDX-License-Identifier: Apache-2.0
#include "KeyName.h"

#include <cstddef>

#include "StoreError.h"

namespace vconf {

namespace {

constexpr std::size_t LONGEST_NAME = 255;
constexpr std::size_t MALFORMED = 0;

unsigned Byte(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

bool IsContinuation(std::string_view text, std::size_t at) {
    return at < text.size() && (Byte(text, at) & 0xC0U) == 0x80;
}

// The bytes of the character that begins here. No overlong forms, no surrogates, nothing beyond
// U+10FFFF.
std::size_t CharacterSize(std::string_view text, std::size_t at) {
    const unsigned first = Byte(text, at);
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4 || !IsContinuation(text, at + 1)) {
        return MALFORMED;
    }
    if (first < 0xE0) {
        return 2;
    }
    const unsigned second = Byte(text, at + 1);
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F) ||
        !IsContinuation(text, at + 2)) {
        return MALFORMED;
    }
    if (first < 0xF0) {
        return 3;
    }
    return IsContinuation(text, at + 3) ? 4 : MALFORMED;
}

// U+0000 to U+001F and U+007F to U+009F.
bool IsControl(std::string_view text, std::size_t at) {
    const unsigned first = Byte(text, at);
    return first < 0x20 || first == 0x7F || (first == 0xC2 && Byte(text, at + 1) < 0xA0);
}

} // namespace

bool IsKeyName(std::string_view name) {
    if (name.empty() || name.size() > LONGEST_NAME || name.front() == '/' || name.back() == '/' ||
        name.find("//") != std::string_view::npos) {
        return false;
    }
    for (std::size_t at = 0; at < name.size();) {
        const std::size_t size = CharacterSize(name, at);
        if (size == MALFORMED || IsControl(name, at)) {
            return false;
        }
        at += size;
    }
    return true;
}

void CheckKeyName(std::string_view name) {
    if (!IsKeyName(name)) {
        throw KeyError("a malformed key");
    }
}

bool IsMemoryKey(std::string_view name) {
    return name.starts_with("memory/");
}

bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = CharacterSize(text, at);
        if (size == MALFORMED) {
            return false;
        }
        at += size;
    }
    return true;
}

} // namespace vconf

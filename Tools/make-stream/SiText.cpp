// SPDX-License-Identifier: Apache-2.0
#include "SiText.h"

namespace streammaker {

namespace {

constexpr std::uint8_t UTF_8 = 0x15;
constexpr std::uint8_t FIRST_CHARACTER = 0x20;

} // namespace

SiText::SiText(std::string_view text) {
    const bool selectsItself =
        text.empty() || static_cast<std::uint8_t>(text.front()) < FIRST_CHARACTER;
    m_bytes.reserve(text.size() + 1);
    if (!selectsItself) {
        m_bytes.push_back(UTF_8);
    }
    for (const char character : text) {
        m_bytes.push_back(static_cast<std::uint8_t>(character));
    }
}

SiText SiText::Raw(std::string_view bytes) {
    SiText text;
    text.m_bytes.assign(bytes.begin(), bytes.end());
    return text;
}

} // namespace streammaker

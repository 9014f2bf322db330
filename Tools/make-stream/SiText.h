// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "Bytes.h"

namespace streammaker {

/// A text of service information (EN 300 468, annex A).
class SiText {
public:
    SiText() = default;
    /// UTF-8, which is written as such (0x15 ahead of it). A text that begins with a byte below
    /// 0x20 has selected its character table itself and is written as it stands.
    SiText(std::string_view text); // NOLINT(google-explicit-constructor): a text is a text
    SiText(const char* text) : SiText(std::string_view(text)) {}        // NOLINT: likewise
    SiText(const std::string& text) : SiText(std::string_view(text)) {} // NOLINT: likewise

    /// As it stands, whatever it begins with: the default table where that selects none.
    static SiText Raw(std::string_view bytes);

    const Bytes& Written() const { return m_bytes; }

private:
    Bytes m_bytes;
};

} // namespace streammaker

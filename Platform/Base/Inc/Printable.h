// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace marrow::base {

/// `text`, UTF-8, with each control character as "?": those of ASCII, and U+0080 to U+009F, by
/// which some terminals take commands too (ISO/IEC 6429, 5.3). So what others wrote stays on its
/// line and leaves the terminal alone. Bytes that aren't UTF-8 stay as they are.
inline std::string Printable(std::string_view text) {
    std::string printable;
    printable.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view two = text.substr(at, 2);
        const auto byte = static_cast<unsigned char>(text[at]);
        if (two >= "\xC2\x80" && two <= "\xC2\x9F") {
            printable += '?';
            ++at;
        } else {
            printable += byte < 0x20 || byte == 0x7F ? '?' : text[at];
        }
    }
    return printable;
}

} // namespace marrow::base

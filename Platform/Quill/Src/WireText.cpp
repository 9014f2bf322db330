// SPDX-License-Identifier: Apache-2.0
#include "WireText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <systemd/sd-bus.h>

namespace Quill::WireText {

namespace {

constexpr std::size_t LONGEST_MEMBER = 255;
constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsMemberByte(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || IsDigit(c) || c == '_';
}

// A sender is whatever the caller of a subscription has named. The D-Bus standard, "Match Rules":
// inside apostrophes everything stands for itself; an apostrophe is written outside of them, behind
// a backslash.
std::string Quoted(std::string_view value) {
    std::string quoted = "'";
    for (const char c : value) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return quoted += '\'';
}

// One code point at the head of a text (RFC 3629, section 4). `length` bytes belong together; they
// are a code point when `valid`, otherwise the longest head that could have become one.
struct CodePoint {
    char32_t value;
    std::size_t length;
    bool valid;
};

CodePoint Decode(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    std::size_t length = 0;
    std::uint8_t lowest = 0x80;
    std::uint8_t highest = 0xBF;
    char32_t value = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1FU;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0FU;
        lowest = lead == 0xE0 ? 0xA0 : 0x80;
        highest = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07U;
        lowest = lead == 0xF0 ? 0x90 : 0x80;
        highest = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return {0, 1, false};
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size() || byte(i) < lowest || byte(i) > highest) {
            return {0, i, false};
        }
        value = (value << 6U) | (byte(i) & 0x3FU);
        lowest = 0x80;
        highest = 0xBF;
    }
    return {value, length, true};
}

bool IsNoncharacter(char32_t c) {
    return (c >= 0xFDD0 && c <= 0xFDEF) || (c & 0xFFFEU) == 0xFFFE;
}

// The head of `text` that needs no look: ASCII other than NUL, eight bytes at a time.
std::size_t PlainHead(std::string_view text) {
    constexpr std::uint64_t HIGH_BITS = 0x8080808080808080U;
    constexpr std::uint64_t ONES = 0x0101010101010101U;
    std::size_t i = 0;
    while (i + 8 <= text.size()) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + i, 8);
        // A byte of zero borrows in the subtraction and shows its high bit.
        if (((word | (word - ONES)) & HIGH_BITS) != 0) {
            break;
        }
        i += 8;
    }
    while (i < text.size() && static_cast<signed char>(text[i]) > 0) { // a char may have no sign
        ++i;
    }
    return i;
}

void AppendEscape(std::string& out, char32_t c) {
    std::array<char, 16> escape{};
    if (c < 0x10000) {
        std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
    } else {
        const auto rest = static_cast<unsigned>(c - 0x10000);
        std::snprintf(escape.data(), escape.size(), "\\u%04x\\u%04x", 0xD800U + (rest >> 10U),
                      0xDC00U + (rest & 0x3FFU));
    }
    out += escape.data();
}

std::string Valid(std::string text, bool keepNoncharacters) {
    std::size_t plain = PlainHead(text);
    if (plain == text.size()) {
        return text;
    }
    std::string out;
    out.reserve(text.size() + 16);
    std::string_view rest(text);
    while (true) {
        out.append(rest.substr(0, plain));
        rest.remove_prefix(plain);
        if (rest.empty()) {
            return out;
        }
        const CodePoint point = Decode(rest);
        if (!point.valid || point.value == 0) {
            out.append(REPLACEMENT);
        } else if (!IsNoncharacter(point.value)) {
            out.append(rest.substr(0, point.length));
        } else if (keepNoncharacters) {
            AppendEscape(out, point.value);
        } else {
            out.append(REPLACEMENT);
        }
        rest.remove_prefix(point.length);
        plain = PlainHead(rest);
    }
}

} // namespace

std::string BusName(std::string_view endpointName) {
    std::string name(endpointName);
    if (name.find('.') == std::string::npos) {
        name.insert(0, "quill.");
    }
    const bool usable = name.find('\0') == std::string::npos && name[0] != ':' &&
                        sd_bus_service_name_is_valid(name.c_str()) > 0;
    return usable ? name : std::string();
}

std::string_view TopLevel(std::string_view busName) {
    return busName.substr(0, busName.find('.'));
}

std::string SignalMember(std::string_view signalName) {
    std::string member;
    for (const char c : signalName) {
        if (IsMemberByte(c) && !(member.empty() && IsDigit(c))) {
            member += c;
        } else {
            std::array<char, 4> hex{};
            std::snprintf(hex.data(), hex.size(), "_%02x", static_cast<std::uint8_t>(c));
            member += hex.data();
        }
    }
    member.resize(std::min(member.size(), LONGEST_MEMBER));
    return member;
}

std::string SignalMatch(std::string_view sender, std::string_view signalName) {
    std::string rule = AllSignalsMatch(sender) + ",member='" + SignalMember(signalName) + '\'';
    // sd-bus and the standard read these two differently in a rule. Names are compared anyway.
    if (signalName.find_first_of("'\\") == std::string_view::npos) {
        rule += ",arg0='" + std::string(signalName) + '\'';
    }
    return rule;
}

std::string AllSignalsMatch(std::string_view sender) {
    std::string rule = "type='signal',interface='";
    rule += INTERFACE;
    rule += '\'';
    if (!sender.empty()) {
        rule += ",sender=" + Quoted(sender);
    }
    return rule;
}

std::string ValidString(std::string text) {
    return Valid(std::move(text), false);
}

std::string ValidJson(std::string text) {
    return Valid(std::move(text), true);
}

} // namespace Quill::WireText

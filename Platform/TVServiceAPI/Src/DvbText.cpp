// SPDX-License-Identifier: Apache-2.0
#include "DvbText.h"

#include <algorithm>
#include <array>
#include <glib.h>
#include <memory>
#include <type_traits>

namespace tvservice {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD
constexpr std::uint8_t LINE_BREAK = 0x8A;
constexpr std::uint8_t EURO = 0xA4; // in the default table, where ISO 6937 has none
constexpr std::uint8_t UTF8_TABLE = 0x15;

struct CharacterTable {
    const char* name; // as iconv knows it
    std::size_t selectorBytes;
    enum class Kind { SingleBytes, DoubleBytes, Unicode } kind;
};
using Kind = CharacterTable::Kind;

constexpr CharacterTable UNKNOWN_TABLE{"ASCII", 1, Kind::SingleBytes};

// Tables A.3 and A.4.
CharacterTable SelectTable(Bytes text) {
    static constexpr std::array<const char*, 12> BY_FIRST_BYTE{
        "",           "ISO-8859-5",  "ISO-8859-6",  "ISO-8859-7",
        "ISO-8859-8", "ISO-8859-9",  "ISO-8859-10", "ISO-8859-11",
        "",           "ISO-8859-13", "ISO-8859-14", "ISO-8859-15"};
    static constexpr std::array<const char*, 16> BY_NUMBER{
        "",           "ISO-8859-1",  "ISO-8859-2",  "ISO-8859-3", "ISO-8859-4",  "ISO-8859-5",
        "ISO-8859-6", "ISO-8859-7",  "ISO-8859-8",  "ISO-8859-9", "ISO-8859-10", "ISO-8859-11",
        "",           "ISO-8859-13", "ISO-8859-14", "ISO-8859-15"};
    const std::uint8_t first = text[0];
    if (first >= 0x20) {
        return {"ISO6937", 0, Kind::SingleBytes};
    }
    if (first < BY_FIRST_BYTE.size() && *BY_FIRST_BYTE[first] != '\0') {
        return {BY_FIRST_BYTE[first], 1, Kind::SingleBytes};
    }
    switch (first) {
    case 0x10:
        if (text.size() >= 3 && text[1] == 0 && text[2] < BY_NUMBER.size() &&
            *BY_NUMBER[text[2]] != '\0') {
            return {BY_NUMBER[text[2]], 3, Kind::SingleBytes};
        }
        return {UNKNOWN_TABLE.name, std::min<std::size_t>(3, text.size()), Kind::SingleBytes};
    case 0x11:
        return {"UTF-16BE", 1, Kind::Unicode};
    case 0x12:
        return {"EUC-KR", 1, Kind::DoubleBytes};
    case 0x13:
        return {"GB2312", 1, Kind::DoubleBytes};
    case 0x14:
        return {"BIG5", 1, Kind::DoubleBytes};
    case UTF8_TABLE:
        return {"UTF-8", 1, Kind::Unicode};
    case 0x1F: // encoding_type_id: tables that are somebody's own
        return {UNKNOWN_TABLE.name, std::min<std::size_t>(2, text.size()), Kind::SingleBytes};
    default:
        return UNKNOWN_TABLE;
    }
}

struct ConverterDeleter {
    void operator()(GIConv converter) const { g_iconv_close(converter); }
};
using Converter = std::unique_ptr<std::remove_pointer_t<GIConv>, ConverterDeleter>;

Converter OpenConverter(const char* table) {
    const GIConv converter = g_iconv_open("UTF-8", table);
    constexpr std::intptr_t FAILED = -1;
    return Converter(reinterpret_cast<std::intptr_t>(converter) == FAILED ? nullptr : converter);
}

// One text without control codes. What means nothing in the table is replaced, `unit` bytes at a
// time.
void Convert(GIConv converter, Bytes text, std::string& result, std::size_t unit = 1) {
    auto* input = const_cast<char*>(reinterpret_cast<const char*>(text.data())); // it only reads
    std::size_t left = text.size();
    std::array<char, 256> converted{};
    while (left > 0) {
        char* output = converted.data();
        std::size_t room = converted.size();
        const std::size_t outcome = g_iconv(converter, &input, &left, &output, &room);
        result.append(converted.data(), output);
        if (outcome == static_cast<std::size_t>(-1) && output == converted.data()) {
            result += REPLACEMENT;
            const std::size_t skipped = std::min(unit, left);
            input += skipped;
            left -= skipped;
        }
    }
    // What the converter has kept for a combination that didn't come.
    char* output = converted.data();
    std::size_t room = converted.size();
    g_iconv(converter, nullptr, nullptr, &output, &room);
    result.append(converted.data(), output);
}

// Tables of one byte: control codes are 0x80 to 0x9F.
std::string ConvertSingleBytes(GIConv converter, Bytes text, bool isDefaultTable) {
    std::string result;
    std::size_t begin = 0;
    for (std::size_t at = 0; at <= text.size(); ++at) {
        const bool atEnd = at == text.size();
        const bool isEuro = !atEnd && isDefaultTable && text[at] == EURO;
        const bool isControl = !atEnd && (text[at] < 0x20 || (text[at] >= 0x7F && text[at] < 0xA0));
        if (!atEnd && !isEuro && !isControl) {
            continue;
        }
        Convert(converter, text.subspan(begin, at - begin), result);
        begin = at + 1;
        if (isEuro) {
            result += "\u20AC";
        } else if (!atEnd && text[at] == LINE_BREAK) {
            result += '\n';
        }
    }
    return result;
}

// Tables of one or two bytes for a character: control codes are 0xE080 to 0xE09F.
std::string ConvertDoubleBytes(GIConv converter, Bytes text) {
    std::string result;
    std::size_t begin = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        const bool isControl = at + 1 < text.size() && text[at] == 0xE0 && text[at + 1] >= 0x80 &&
                               text[at + 1] <= 0x9F;
        const std::size_t next = at + (text[at] < 0x80 ? 1 : 2);
        if (isControl) {
            Convert(converter, text.subspan(begin, at - begin), result);
            result += text[at + 1] == LINE_BREAK ? "\n" : "";
            begin = next;
        }
        at = next;
    }
    Convert(converter, text.subspan(std::min(begin, text.size())), result);
    return result;
}

// The Unicode tables have them at U+E080 to U+E09F.
std::string WithoutControlCodes(const std::string& text) {
    std::string result;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end;) {
        const char* const next = g_utf8_find_next_char(at, nullptr);
        const gunichar code = g_utf8_get_char(at);
        if (code == 0xE08A || code == '\n') {
            result += '\n';
        } else if ((code >= 0x20 && code < 0x7F) || (code >= 0xA0 && code < 0xE080) ||
                   code > 0xE09F) {
            result.append(at, next);
        }
        at = next;
    }
    return result;
}

} // namespace

std::string TextOf(Bytes text) {
    if (text.empty()) {
        return {};
    }
    const CharacterTable table = SelectTable(text);
    const Bytes characters = text.subspan(table.selectorBytes);
    const Converter converter = OpenConverter(table.name);
    if (!converter) {
        return REPLACEMENT; // a system without this table
    }
    switch (table.kind) {
    case Kind::SingleBytes:
        return ConvertSingleBytes(converter.get(), characters, table.selectorBytes == 0);
    case Kind::DoubleBytes:
        return ConvertDoubleBytes(converter.get(), characters);
    case Kind::Unicode:
        break;
    }
    constexpr std::size_t UTF16_UNIT = 2;
    std::string converted;
    Convert(converter.get(), characters, converted, text[0] == UTF8_TABLE ? 1 : UTF16_UNIT);
    return WithoutControlCodes(converted);
}

} // namespace tvservice

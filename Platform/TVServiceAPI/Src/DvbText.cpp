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
    std::size_t unitBytes; // 1: with control codes of one byte
};

constexpr CharacterTable UNKNOWN_TABLE{"ASCII", 1, 1};

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
        return {"ISO6937", 0, 1};
    }
    if (first < BY_FIRST_BYTE.size() && *BY_FIRST_BYTE[first] != '\0') {
        return {BY_FIRST_BYTE[first], 1, 1};
    }
    switch (first) {
    case 0x10:
        if (text.size() >= 3 && text[1] == 0 && text[2] < BY_NUMBER.size() &&
            *BY_NUMBER[text[2]] != '\0') {
            return {BY_NUMBER[text[2]], 3, 1};
        }
        return {UNKNOWN_TABLE.name, std::min<std::size_t>(3, text.size()), 1};
    case 0x11:
        return {"UTF-16BE", 1, 2};
    case 0x12:
        return {"EUC-KR", 1, 2};
    case 0x13:
        return {"GB2312", 1, 2};
    case 0x14:
        return {"BIG5", 1, 2};
    case UTF8_TABLE:
        return {"UTF-8", 1, 2};
    case 0x1F: // encoding_type_id: tables that are somebody's own
        return {UNKNOWN_TABLE.name, std::min<std::size_t>(2, text.size()), 1};
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

// One text without control codes. Bytes that mean nothing in the table are replaced singly.
void Convert(GIConv converter, Bytes text, std::string& result) {
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
            ++input;
            --left;
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

// The other tables have their control codes at U+E080 to U+E09F, once they are Unicode.
std::string WithoutControlCodes(const std::string& text) {
    std::string result;
    const char* next = nullptr;
    for (const char* at = text.c_str(); *at != '\0'; at = next) {
        next = g_utf8_find_next_char(at, nullptr);
        const gunichar code = g_utf8_get_char(at);
        if (code == 0xE08A || code == '\n') {
            result += '\n';
        } else if ((code >= 0x20 && code < 0x7F) || (code >= 0xA0 && code < 0xE080) ||
                   code > 0xE09F) {
            result.append(at, next);
        }
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
    if (table.unitBytes == 1) {
        return ConvertSingleBytes(converter.get(), characters, table.selectorBytes == 0);
    }
    std::string converted;
    Convert(converter.get(), characters, converted);
    return WithoutControlCodes(converted);
}

} // namespace tvservice

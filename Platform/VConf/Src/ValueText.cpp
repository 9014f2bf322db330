// SPDX-License-Identifier: Apache-2.0
#include "ValueText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

#include "StoreError.h"

namespace vconf {

namespace {

constexpr std::array<std::pair<VConfType, const char*>, 5> TYPES = {{{VCONF_NONE, "none"},
                                                                     {VCONF_STRING, "string"},
                                                                     {VCONF_INT, "int"},
                                                                     {VCONF_DOUBLE, "double"},
                                                                     {VCONF_BOOL, "bool"}}};

// The whole text, or nothing.
template <typename Number>
std::optional<Number> Parse(const std::string& text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<double> ParseDouble(const std::string& text) {
    const auto number = Parse<double>(text);
    return number && !std::isnan(*number) ? number : std::nullopt;
}

std::optional<int> ParseBool(const std::string& text) {
    if (text == "true" || text == "false") {
        return text == "true" ? 1 : 0;
    }
    return Parse<int>(text);
}

std::string Escaped(char c) {
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x",
                  static_cast<unsigned>(static_cast<unsigned char>(c)));
    return escape.data();
}

std::string Quoted(const std::string& text) {
    std::string line = "\"";
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        const auto byte = static_cast<unsigned char>(c);
        const std::string_view character = std::string_view(text).substr(at, 2);
        if (character >= "\xC2\x80" && character <= "\xC2\x9F") {
            line += Escaped(text[++at]); // U+0080 to U+009F: the second byte is the number
        } else if (c == '"' || c == '\\') {
            line += {'\\', c};
        } else if (c == '\n') {
            line += "\\n";
        } else if (byte < 0x20 || byte == 0x7F) {
            line += Escaped(c);
        } else {
            line += c;
        }
    }
    return line + "\"";
}

} // namespace

const char* TypeName(VConfType type) {
    for (const auto& [known, name] : TYPES) {
        if (known == type) {
            return name;
        }
    }
    return "unknown";
}

std::optional<VConfType> TypeOfName(const std::string& name) {
    for (const auto& [type, known] : TYPES) {
        if (name == known && type != VCONF_NONE) {
            return type;
        }
    }
    return std::nullopt;
}

std::string ValueToText(const StoredValue& value) {
    switch (value.type) {
    case VCONF_STRING:
        return value.text;
    case VCONF_INT:
        return std::to_string(value.integer);
    case VCONF_DOUBLE: {
        std::array<char, 32> text{};
        const auto result = std::to_chars(text.data(), text.data() + text.size(), value.real);
        return {text.data(), result.ptr};
    }
    case VCONF_BOOL:
        if (value.integer == 0 || value.integer == 1) {
            return value.integer == 1 ? "true" : "false";
        }
        return std::to_string(value.integer);
    default:
        return "";
    }
}

StoredValue TextToValue(const std::string& text, VConfType type) {
    StoredValue value;
    value.type = type;
    bool isValue = type == VCONF_STRING;
    if (type == VCONF_STRING) {
        value.text = text;
    } else if (const auto real = ParseDouble(text); type == VCONF_DOUBLE && real) {
        value.real = *real;
        isValue = true;
    } else if (const auto number = type == VCONF_BOOL ? ParseBool(text) : Parse<int>(text);
               type != VCONF_DOUBLE && number) {
        value.integer = *number;
        isValue = true;
    }
    if (!isValue) {
        throw KeyError("\"" + text + "\" is no value of the type " + TypeName(type));
    }
    return value;
}

VConfType LikelyType(const std::string& text) {
    if (Parse<int>(text)) {
        return VCONF_INT;
    }
    if (ParseDouble(text)) {
        return VCONF_DOUBLE;
    }
    return text == "true" || text == "false" ? VCONF_BOOL : VCONF_STRING;
}

std::string ValueToLine(const StoredValue& value) {
    return value.type == VCONF_STRING ? Quoted(value.text) : ValueToText(value);
}

} // namespace vconf

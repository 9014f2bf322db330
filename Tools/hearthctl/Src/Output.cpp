// SPDX-License-Identifier: Apache-2.0
#include "Output.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>
#include <unistd.h>

#include <glib.h>
#include <json/writer.h>

namespace hearthctl {

namespace {

// U+0080 to U+009F, which JSON allows in a string as they are, and by which some terminals take
// commands (ISO/IEC 6429, 5.3). The others are escaped already.
std::string WithEscapedControls(std::string_view json) {
    std::string escaped;
    escaped.reserve(json.size());
    while (!json.empty()) {
        const std::string_view two = json.substr(0, 2);
        if (two >= "\xC2\x80" && two <= "\xC2\x9F") {
            std::array<char, 8> number{};
            std::snprintf(number.data(), number.size(), "\\u%04x",
                          static_cast<unsigned>(static_cast<unsigned char>(two[1])));
            escaped += number.data();
            json.remove_prefix(2);
        } else {
            escaped += json.front();
            json.remove_prefix(1);
        }
    }
    return escaped;
}

std::string WriteJson(const Json::Value& value, const char* indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    const std::string written = Json::writeString(builder, value);
    // Names in files and logs may be any bytes, and stacks are cut after 255 of them.
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(written.data(), static_cast<gssize>(written.size())), g_free);
    return WithEscapedControls(valid.get());
}

// Columns on the screen, one for each code point.
std::size_t Width(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

} // namespace

bool IsTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

std::string CompactJson(const Json::Value& value) {
    return WriteJson(value, "");
}

std::string IndentedJson(const Json::Value& value) {
    return WriteJson(value, "  ");
}

std::string TimeOfDay() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const std::time_t seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 32> date{};
    std::array<char, 8> zone{};
    std::array<char, 48> text{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(zone.data(), zone.size(), "%z", &local);
    std::snprintf(text.data(), text.size(), "%s.%03d%s", date.data(),
                  static_cast<int>(milliseconds % 1000), zone.data());
    return text.data();
}

std::vector<std::string> Lines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

void PrintTable(const Row& heading, const std::vector<Row>& rows) {
    constexpr std::size_t GAP = 3;
    std::size_t width = Width(heading.first);
    for (const Row& row : rows) {
        width = std::max(width, Width(row.first));
    }
    const auto print = [width](const Row& row) {
        std::cout << row.first;
        if (!row.second.empty()) {
            std::cout << std::string(width - Width(row.first) + GAP, ' ') << row.second;
        }
        std::cout << '\n';
    };
    print(heading);
    std::for_each(rows.begin(), rows.end(), print);
}

} // namespace hearthctl

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

std::string WriteJson(const Json::Value& value, const char* indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    const std::string written = Json::writeString(builder, value);
    // Names in files and logs may be any bytes, and stacks are cut after 255 of them.
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(written.data(), static_cast<gssize>(written.size())), g_free);
    return valid.get();
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

std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
    return text;
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

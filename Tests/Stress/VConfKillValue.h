// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

inline constexpr const char* KILL_FIRST_KEY = "db/kill/first"; ///< set ahead of the other
inline constexpr const char* KILL_SECOND_KEY = "db/kill/second";

inline std::uint64_t KillChecksum(const std::string& text) {
    std::uint64_t sum = 14695981039346656037U;
    for (const char byte : text) {
        sum = (sum ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    return sum;
}

/// "number filler checksum", of one page or of several.
inline std::string KillValue(long number) {
    const std::size_t size = 1 + static_cast<std::size_t>(number) * 7919 % 12'000;
    const std::string text =
        std::to_string(number) + " " + std::string(size, static_cast<char>('a' + number % 26));
    return text + " " + std::to_string(KillChecksum(text));
}

/// The number in it; nothing where the value isn't whole.
inline std::optional<long> KillNumber(const std::string& value) {
    const std::size_t end = value.rfind(' ');
    if (end == std::string::npos ||
        value.substr(end + 1) != std::to_string(KillChecksum(value.substr(0, end)))) {
        return std::nullopt;
    }
    return std::stol(value);
}

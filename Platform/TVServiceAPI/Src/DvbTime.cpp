// SPDX-License-Identifier: Apache-2.0
#include "DvbTime.h"

namespace tvservice {

namespace {

constexpr std::int64_t SECONDS_OF_DAY = 86400;
constexpr std::int64_t DAY_OF_1970 = 40587; // modified Julian date

std::optional<std::uint32_t> BcdOf(std::uint32_t byte) {
    const std::uint32_t tens = byte >> 4 & 0x0F;
    const std::uint32_t ones = byte & 0x0F;
    if (tens > 9 || ones > 9) {
        return std::nullopt;
    }
    return tens * 10 + ones;
}

} // namespace

std::optional<std::uint32_t> DurationOf(std::uint32_t field24) {
    const std::optional<std::uint32_t> hours = BcdOf(field24 >> 16);
    const std::optional<std::uint32_t> minutes = BcdOf(field24 >> 8);
    const std::optional<std::uint32_t> seconds = BcdOf(field24);
    if (!hours || !minutes || !seconds) {
        return std::nullopt;
    }
    return *hours * 3600 + *minutes * 60 + *seconds;
}

std::optional<std::int64_t> UtcOf(std::uint64_t field40) {
    const auto date = static_cast<std::int64_t>(field40 >> 24 & 0xFFFF);
    const std::optional<std::uint32_t> time = DurationOf(static_cast<std::uint32_t>(field40));
    if (!time || date < DAY_OF_1970) {
        return std::nullopt;
    }
    return (date - DAY_OF_1970) * SECONDS_OF_DAY + *time;
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0

// Two kinds of lines. The timing lines come from standard output, with no time of their own, each
// at once. The others come from the platform's log, on a PC through standard error: with the time
// at which they were made where they go to a file, and without one where they go to the journal,
// which gets them up to 200 ms later. The journal's tools put a time, the host and "NAME[PROCESS]:
// " ahead.
//
// What the platform's log puts ahead of the source file's name is its own affair, and so is what
// follows the text in a timing line that was cut off.

#include "LogLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace hearthctl {

namespace {

using Kind = LogLine::Kind;

constexpr std::string_view TIMING = "PERFORMANCE MONITOR - tag: ";
constexpr std::string_view TIMED = " execution_time: ";
constexpr std::string_view TEXT = ") > ";

struct Suffix {
    std::string_view text;
    Kind kind;
};
constexpr std::array<Suffix, 3> STAGES{
    {{"_LOAD", Kind::LOAD}, {"_START", Kind::START}, {"_CALL_API", Kind::CALL}}};

// A text of the platform's log: which function writes it, and what stands around the service's
// name.
struct Pattern {
    std::string_view place;
    std::string_view before;
    std::string_view after;
    Kind kind;
};
constexpr std::array<Pattern, 8> PATTERNS{{
    {"ServiceManager.cpp: ServiceManager(", "init", "", Kind::MANAGER_BEGINS},
    {"Service.cpp: Start(", "Starting service['", "']", Kind::STARTING},
    {"ServiceManager.cpp: StartService(", "started ", "", Kind::STARTED},
    {"ServiceManager.cpp: StartService(", "failed to load ", " service", Kind::LOAD_FAILED},
    {"ServiceManager.cpp: StartService(", "failed to start ", " service", Kind::START_FAILED},
    {"Service.cpp: HandOver(", "Timeout ", " seconds occured!", Kind::TIMED_OUT},
    {"ServiceControl.cpp: CallAPI(", "service['", "'] service is not started", Kind::REFUSED},
    {"MessageRouter.cpp: Route(", "Delivery error. No Service with name ", "",
     Kind::UNKNOWN_SERVICE},
}};

using Fraction = std::array<char, 7>; // up to six digits of a second

std::optional<Microseconds> Sum(std::chrono::seconds seconds, const Fraction& fraction) {
    std::string digits = fraction.data();
    digits.resize(6, '0');
    int microseconds = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), microseconds);
    return seconds + Microseconds(microseconds);
}

// Without a year it is any, as only differences count.
std::optional<Microseconds> TimeOfDate(int year, unsigned month, unsigned day,
                                       std::chrono::seconds timeOfDay, const Fraction& fraction) {
    using namespace std::chrono;
    const year_month_day date{std::chrono::year(year), std::chrono::month(month),
                              std::chrono::day(day)};
    if (!date.ok()) {
        return std::nullopt;
    }
    return Sum(sys_days(date).time_since_epoch() + timeOfDay, fraction);
}

unsigned MonthNumber(std::string_view name) {
    constexpr std::string_view NAMES = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const std::size_t at = NAMES.find(name);
    return at == std::string_view::npos || name.size() != 3 ? 0 : static_cast<unsigned>(at) / 3 + 1;
}

std::chrono::seconds TimeOfDay(int hour, int minute, int second) {
    return std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second);
}

// The time at which a line begins: "[ 12.345678]", seconds since 1970, or a date with the year
// ahead or none. The offset from UTC is taken to stay the same.
std::optional<Microseconds> TimeAhead(const std::string& head) {
    Fraction fraction{};
    long long seconds = 0;
    if (std::sscanf(head.c_str(), "[ %10lld.%6[0-9]", &seconds, fraction.data()) == 2 ||
        std::sscanf(head.c_str(), "%10lld.%6[0-9]", &seconds, fraction.data()) == 2) {
        return Sum(std::chrono::seconds(seconds), fraction);
    }
    int year = 2000;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (std::sscanf(head.c_str(), "%4d-%2u-%2u%*1[T ]%2d:%2d:%2d.%6[0-9]", &year, &month, &day,
                    &hour, &minute, &second, fraction.data()) == 7) {
        return TimeOfDate(year, month, day, TimeOfDay(hour, minute, second), fraction);
    }
    std::array<char, 4> name{};
    if (std::sscanf(head.c_str(), "%3s %2u %2d:%2d:%2d.%6[0-9]", name.data(), &day, &hour, &minute,
                    &second, fraction.data()) == 6) {
        return TimeOfDate(year, MonthNumber(name.data()), day, TimeOfDay(hour, minute, second),
                          fraction);
    }
    return std::nullopt;
}

// The digits of the first "[77]: ".
std::string ProcessIn(std::string_view head) {
    const std::size_t end = head.find("]: ");
    const std::size_t begin = head.substr(0, std::min(end, head.size())).rfind('[');
    if (end == std::string_view::npos || begin == std::string_view::npos) {
        return {};
    }
    const std::string_view digits = head.substr(begin + 1, end - begin - 1);
    return digits.find_first_not_of("0123456789") == std::string_view::npos ? std::string(digits)
                                                                            : std::string();
}

// What is left between both, or nothing where they don't stand there.
std::optional<std::string_view> Between(std::string_view text, std::string_view before,
                                        std::string_view after) {
    if (text.size() < before.size() + after.size() || !text.starts_with(before) ||
        !text.ends_with(after)) {
        return std::nullopt;
    }
    return text.substr(before.size(), text.size() - before.size() - after.size());
}

// "830 us" or "12 ms".
std::optional<Microseconds> Duration(std::string_view text) {
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    const std::string_view unit(rest, static_cast<std::size_t>(end - rest));
    constexpr Microseconds LONGEST = std::chrono::days(30); // sums have room for many of them
    if (error != std::errc() || value < 0 || value > LONGEST.count() ||
        (unit != " us" && unit != " ms")) {
        return std::nullopt;
    }
    const Microseconds time =
        unit == " us" ? Microseconds(value) : std::chrono::milliseconds(value);
    return time > LONGEST ? std::nullopt : std::optional(time);
}

std::optional<LogLine> ReadTiming(std::string_view text) {
    const std::size_t end = text.rfind(TIMED);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::optional<Microseconds> took = Duration(text.substr(end + TIMED.size()));
    if (!took) {
        return std::nullopt;
    }
    const std::string_view tag = text.substr(0, end);
    if (tag == "INIT") {
        return LogLine{.kind = Kind::INIT, .service = {}, .took = *took, .time = {}, .process = {}};
    }
    for (const auto& [suffix, kind] : STAGES) {
        if (const auto name = Between(tag, "", suffix)) {
            return LogLine{.kind = kind,
                           .service = std::string(*name),
                           .took = *took,
                           .time = {},
                           .process = {}};
        }
    }
    return std::nullopt; // a stage that a service times for itself
}

std::optional<LogLine> ReadText(const Pattern& pattern, std::string_view text) {
    const std::optional<std::string_view> name = Between(text, pattern.before, pattern.after);
    if (!name || (pattern.kind == Kind::MANAGER_BEGINS && !name->empty())) {
        return std::nullopt;
    }
    LogLine line{.kind = pattern.kind, .service = {}, .took = {}, .time = {}, .process = {}};
    if (line.kind != Kind::TIMED_OUT) {
        line.service = *name;
    }
    return line;
}

// A line of the platform's log whose text begins at `begin`; `head` gets what stands ahead of that.
std::optional<LogLine> ReadLogged(std::string_view line, std::size_t begin,
                                  std::string_view& head) {
    const std::string_view text = line.substr(begin + TEXT.size());
    head = line.substr(0, line.find_last_not_of("0123456789", begin - 1) + 1);
    for (const Pattern& pattern : PATTERNS) {
        const std::size_t place = head.size() - std::min(head.size(), pattern.place.size());
        if (head.ends_with(pattern.place) && (place == 0 || head[place - 1] == ' ')) {
            if (std::optional<LogLine> read = ReadText(pattern, text)) {
                return read;
            }
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<LogLine> ReadLogLine(std::string_view line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
        line.remove_suffix(1);
    }
    std::optional<LogLine> read;
    std::string_view head;
    if (const std::size_t timing = line.rfind(TIMING); timing != std::string_view::npos) {
        head = line.substr(0, timing);
        read = ReadTiming(line.substr(timing + TIMING.size()));
    } else if (const std::size_t text = line.find(TEXT);
               text != std::string_view::npos && text != 0) {
        read = ReadLogged(line, text, head);
    }
    if (read) {
        read->time = TimeAhead(std::string(head));
        read->process = ProcessIn(head);
    }
    return read;
}

} // namespace hearthctl

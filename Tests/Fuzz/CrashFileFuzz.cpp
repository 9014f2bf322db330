// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any names of files in the directory of the crash files, as the kernel reports
// them, several to a read. Which process is reported is compared with what the name's fields say.

#include <algorithm>
#include <cstring>
#include <string>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <vector>

#include "APIWatchdog.h"
#include "Dlog.h"
#include "Fuzz.h"
#include "FuzzCheck.h"
#include "LogCapture.h"
#include "PrivateMember.h"

namespace crash_file_fuzz {

struct HandleEvents : PrivateMember<HandleEvents, void (APIWatchdog::*)(const char*, std::size_t)> {
};
struct DirectoryWatch : PrivateMember<DirectoryWatch, int APIWatchdog::*> {};

} // namespace crash_file_fuzz
template struct ExposeMember<crash_file_fuzz::HandleEvents, &APIWatchdog::HandleEvents>;
template struct ExposeMember<crash_file_fuzz::DirectoryWatch, &APIWatchdog::m_directoryWatch>;

namespace {

using Texts = std::vector<std::string>;

constexpr std::size_t LONGEST_NAME = 255;

Texts& Reported() {
    static Texts reported;
    return reported;
}

// A process that may open no file has a watchdog that watches nothing and has no thread.
APIWatchdog* MakeIdle() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    auto* const watchdog =
        new APIWatchdog([](const std::string& process) { Reported().push_back(process); });
    setrlimit(RLIMIT_NOFILE, &limit);
    return watchdog;
}

APIWatchdog& Watchdog() {
    static APIWatchdog* const watchdog = MakeIdle();
    return *watchdog;
}

// Whatever a file may be called: neither empty nor with a '/' or a NUL in it.
Texts Names(std::span<const std::uint8_t> input) {
    Texts names(1);
    for (const std::uint8_t byte : input) {
        if (byte == '/' || byte == 0) {
            names.emplace_back();
        } else {
            names.back() += static_cast<char>(byte);
        }
    }
    std::erase(names, "");
    for (std::string& name : names) {
        name.resize(std::min(name.size(), LONGEST_NAME));
    }
    return names;
}

// inotify(7): the name ends in as many NULs as bring the next event to its place.
std::string EventOf(const std::string& name, int watch) {
    inotify_event event{};
    event.wd = watch;
    event.mask = IN_CREATE;
    event.len = static_cast<std::uint32_t>((name.size() / sizeof(event) + 1) * sizeof(event));
    std::string bytes(sizeof(event) + event.len, '\0');
    std::memcpy(bytes.data(), &event, sizeof(event));
    name.copy(&bytes[sizeof(event)], name.size());
    return bytes;
}

// The end of the bytes is the end of the memory, for the sanitizer's sake.
void Handle(const std::string& events) {
    const std::vector<char> copy(events.begin(), events.end());
    (Watchdog().*MemberOf(crash_file_fuzz::HandleEvents()))(copy.data(), copy.size());
}

void HandleAll(const Texts& names) {
    const int watch = Watchdog().*MemberOf(crash_file_fuzz::DirectoryWatch());
    std::string events;
    for (const std::string& name : names) {
        const std::string event = EventOf(name, watch);
        if (events.size() + event.size() > APIWatchdog::BUFF_SIZE) {
            Handle(events);
            events.clear();
        }
        events += event;
    }
    Handle(events);
}

bool IsNumber(const std::string& field) {
    return !field.empty() && field.find_first_not_of("0123456789") == std::string::npos;
}

// The process in a crash file's name: the fourth of five fields, of which the last may hold dots
// but is one line. Empty where it is another file's.
std::string ProcessIn(const std::string& name) {
    Texts fields;
    std::size_t at = 0;
    while (fields.size() < 4) {
        const std::size_t dot = name.find('.', at);
        if (dot == std::string::npos) {
            return "";
        }
        fields.push_back(name.substr(at, dot - at));
        at = dot + 1;
    }
    const std::string rest = name.substr(at);
    const bool isCrash = IsNumber(fields[0]) && !fields[1].empty() && !fields[2].empty() &&
                         IsNumber(fields[3]) && !rest.empty() &&
                         rest.find_first_of("\r\n") == std::string::npos;
    return isCrash ? fields[3] : "";
}

} // namespace

int FuzzCrashFile(std::span<const std::uint8_t> input) {
    const Texts names = Names(input);
    Reported().clear();
    LogCapture::Clear();
    HandleAll(names);
    Texts wanted;
    for (const std::string& name : names) {
        if (const std::string process = ProcessIn(name); !process.empty()) {
            wanted.push_back(process);
        }
    }
    Require(Reported() == wanted, "each crash's process is reported, and no other");
    const int dropped =
        LogCapture::Count(DLOG_WARN, "File does not contain pattern we want to monitor.");
    Require(static_cast<std::size_t>(dropped) == names.size() - wanted.size(),
            "what is none is told");
    return 0;
}

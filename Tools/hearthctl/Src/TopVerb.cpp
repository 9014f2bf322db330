// SPDX-License-Identifier: Apache-2.0
#include "TopVerb.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "CallCounts.h"
#include "LogInput.h"
#include "Output.h"
#include "StartText.h"

namespace hearthctl {

using marrow::base::FileDescriptor;

namespace {

using Clock = LogInput::Clock;
using Seconds = std::chrono::duration<double>;
using Services = std::vector<CallCounts::Service>;

constexpr const char* HOME_AND_CLEAR = "\x1b[H\x1b[2J";

// Ctrl-C and a request to end, as something that can be waited for.
FileDescriptor EndingSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    const int descriptor = signalfd(-1, &ending, SFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return FileDescriptor(descriptor);
}

std::string Rate(int calls, Seconds elapsed) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << calls / elapsed.count();
    return text.str();
}

// How many services fit on the screen beneath two lines; all where it has no size.
std::size_t Room() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 3 ? size.ws_row - 3U
                                                                           : SIZE_MAX;
}

void PrintColumns(const std::vector<std::string>& columns, const std::string& service) {
    for (const std::string& column : columns) {
        std::cout << std::right << std::setw(10) << column;
    }
    std::cout << "   " << service << '\n';
}

void PrintTable(const Services& services, Seconds elapsed, std::size_t room) {
    PrintColumns({"CALLS/S", "MEDIAN", "95TH", "LONGEST", "REFUSED"}, "SERVICE");
    for (const CallCounts::Service& service : services) {
        if (room-- == 0) {
            break;
        }
        const auto time = [&service](Microseconds latency) {
            return service.calls == 0 ? "-" : TimeText(latency);
        };
        PrintColumns({Rate(service.calls, elapsed), time(service.median), time(service.ninetyFifth),
                      time(service.longest), std::to_string(service.refused)},
                     Printable(service.name));
    }
}

Json::Value AsJson(const Services& services, Seconds elapsed) {
    Json::Value interval;
    interval["time"] = TimeOfDay();
    interval["seconds"] = elapsed.count();
    interval["services"] = Json::arrayValue;
    for (const CallCounts::Service& service : services) {
        Json::Value one;
        one["service"] = service.name;
        one["calls"] = service.calls;
        one["refused"] = service.refused;
        if (service.calls > 0) {
            one["latency_us"]["p50"] = Json::Int64(service.median.count());
            one["latency_us"]["p95"] = Json::Int64(service.ninetyFifth.count());
            one["latency_us"]["max"] = Json::Int64(service.longest.count());
        }
        interval["services"].append(one);
    }
    return interval;
}

void Print(const Services& services, Seconds elapsed, const TopOptions& options) {
    if (options.json) {
        std::cout << CompactJson(AsJson(services, elapsed)) << std::endl;
        return;
    }
    const bool redraws = !options.once && IsTerminal(STDOUT_FILENO);
    int calls = 0;
    for (const CallCounts::Service& service : services) {
        calls += service.calls;
    }
    std::cout << (redraws ? HOME_AND_CLEAR : "") << TimeOfDay() << "   " << calls
              << (calls == 1 ? " call, " : " calls, ") << Rate(calls, elapsed) << " a second\n";
    PrintTable(services, elapsed, redraws ? Room() : SIZE_MAX);
    std::cout << (redraws || options.once ? "" : "\n") << std::flush;
}

} // namespace

ExitStatus Top(const TopOptions& options) {
    // Ahead of the signals, which the journal's tool must not find blocked.
    LogInput input(options.log, LogInput::Mode::FOLLOWING);
    const FileDescriptor signals = EndingSignals();
    const auto interval = std::chrono::ceil<Clock::duration>(options.interval);
    CallCounts counts;
    LogInput::Result result = LogInput::Result::TIME_IS_OVER;
    Clock::time_point begin = Clock::now();
    while (std::cout && result == LogInput::Result::TIME_IS_OVER) {
        result =
            input.ReadUntil(begin + interval, signals.Number(), [&counts](std::string_view text) {
                if (const std::optional<LogLine> line = ReadLogLine(text)) {
                    counts.Add(*line);
                }
            });
        if (result == LogInput::Result::SIGNAL) {
            break;
        }
        const Clock::time_point now = Clock::now();
        Print(counts.Take(), now - begin, options);
        begin = now;
        if (options.once) {
            break;
        }
    }
    return ExitStatus::OK;
}

} // namespace hearthctl

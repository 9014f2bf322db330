// SPDX-License-Identifier: Apache-2.0
#include "StartVerbs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <vector>

#include "LogInput.h"
#include "Output.h"
#include "StartLog.h"
#include "StartPicture.h"
#include "StartText.h"
#include "StartTimeline.h"

namespace hearthctl {

namespace {

DaemonStart LastStart(const std::string& log) {
    LogInput input(log, LogInput::Mode::TO_THE_END);
    StartLog starts;
    input.ReadAll([&starts](std::string_view text) {
        if (const std::optional<LogLine> line = ReadLogLine(text)) {
            starts.Add(*line);
        }
    });
    if (starts.Last() == nullptr) {
        throw Failure(ExitStatus::FAILED,
                      input.Name() + " tells of no start of hearthd; it must hold the timing lines "
                                     "that the daemon writes to standard output");
    }
    return *starts.Last();
}

struct BlamedService {
    std::string name;
    ServiceStart::State state;
    std::optional<Microseconds> load;
    std::optional<Microseconds> start;
    Microseconds sum;
};

// What may still go on comes ahead of everything that has ended.
bool IsLonger(const BlamedService& a, const BlamedService& b) {
    const auto goesOn = [](const BlamedService& service) {
        return service.state == ServiceStart::State::LOADED;
    };
    return goesOn(a) != goesOn(b) ? goesOn(a) : a.sum > b.sum;
}

std::vector<BlamedService> BlamedServices(const DaemonStart& start) {
    const Timeline timeline = PlaceOnAxis(start);
    std::vector<BlamedService> services;
    for (std::size_t i = 0; i < start.services.size(); ++i) {
        const ServiceStart& service = start.services[i];
        const Timeline::Service& at = timeline.services[i];
        services.push_back({service.name, service.state, TimeOf(service.load, at.load),
                            TimeOf(service.start, at.start), at.Sum()});
    }
    std::stable_sort(services.begin(), services.end(), IsLonger);
    return services;
}

Json::Value MicrosecondsOrNull(const std::optional<Microseconds>& time) {
    return time ? Json::Value(Json::Int64(time->count())) : Json::Value();
}

Json::Value AsJson(const std::vector<BlamedService>& services) {
    Json::Value all(Json::arrayValue);
    for (const BlamedService& service : services) {
        Json::Value one;
        one["service"] = service.name;
        one["load_us"] = MicrosecondsOrNull(service.load);
        one["start_us"] = MicrosecondsOrNull(service.start);
        one["sum_us"] = Json::Int64(service.sum.count());
        one["trouble"] = TroubleText(service.state);
        all.append(one);
    }
    return all;
}

void PrintColumns(const std::string& load, const std::string& start, const std::string& sum,
                  const std::string& rest) {
    constexpr int COLUMN = 9;
    std::cout << std::right << std::setw(COLUMN) << load << std::setw(COLUMN + 2) << start
              << std::setw(COLUMN + 2) << sum << "   " << rest << '\n';
}

void Print(const std::vector<BlamedService>& services) {
    PrintColumns("LOAD", "START", "SUM", "SERVICE");
    for (const BlamedService& service : services) {
        const std::string trouble = TroubleText(service.state);
        PrintColumns(TimeText(service.load), TimeText(service.start), TimeText(service.sum),
                     Printable(service.name) + (trouble.empty() ? "" : "   (" + trouble + ")"));
    }
}

} // namespace

ExitStatus Plot(const StartOptions& options) {
    const std::string picture = DrawStart(LastStart(options.log));
    if (options.output.empty()) {
        std::cout << picture;
        return ExitStatus::OK;
    }
    std::ofstream file(options.output);
    file << picture << std::flush;
    if (!file) {
        throw Failure(ExitStatus::FAILED,
                      "cannot write " + options.output + ": " + strerror(errno));
    }
    return ExitStatus::OK;
}

ExitStatus Blame(const StartOptions& options) {
    const std::vector<BlamedService> services = BlamedServices(LastStart(options.log));
    if (options.json) {
        std::cout << CompactJson(AsJson(services)) << '\n';
    } else {
        Print(services);
    }
    return ExitStatus::OK;
}

} // namespace hearthctl

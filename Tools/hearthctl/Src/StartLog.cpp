// SPDX-License-Identifier: Apache-2.0
#include "StartLog.h"

#include <algorithm>

namespace hearthctl {

namespace {

using Kind = LogLine::Kind;
using State = ServiceStart::State;

bool IsOfACall(Kind kind) {
    return kind == Kind::CALL || kind == Kind::REFUSED || kind == Kind::UNKNOWN_SERVICE;
}

// What a service that is started by hand makes the daemon write too tells of no daemon's start.
bool TellsOfADaemon(Kind kind) {
    return kind != Kind::STARTING && kind != Kind::TIMED_OUT && kind != Kind::STARTED;
}

bool ComesAgain(const DaemonStart& start, Kind kind) {
    return (kind == Kind::INIT && start.init.took) ||
           (kind == Kind::MANAGER_BEGINS && start.managerBegan);
}

// Names may be declared twice: the last one.
ServiceStart* FindService(DaemonStart& start, const std::string& name) {
    const auto found =
        std::find_if(start.services.rbegin(), start.services.rend(),
                     [&name](const ServiceStart& service) { return service.name == name; });
    return found == start.services.rend() ? nullptr : &*found;
}

// A line may be lost.
ServiceStart& FindOrAddService(DaemonStart& start, const std::string& name) {
    ServiceStart* const service = FindService(start, name);
    return service != nullptr
               ? *service
               : start.services.emplace_back(ServiceStart{.name = name, .load = {}, .start = {}});
}

void SetTime(Stage& stage, const std::optional<Microseconds>& time) {
    if (!stage.ended) {
        stage.ended = time;
    }
}

void EndStart(ServiceStart& service, const LogLine& line, bool timedOut) {
    SetTime(service.start, line.time);
    if (line.kind == Kind::START) {
        service.start.took = line.took;
        service.state = State::STARTED;
    } else {
        service.state = timedOut ? State::TIMED_OUT : State::START_FAILED;
    }
}

void AddLine(DaemonStart& start, const LogLine& line) {
    switch (line.kind) {
    case Kind::INIT:
        start.init = {.took = line.took, .ended = line.time};
        break;
    case Kind::MANAGER_BEGINS:
        start.managerBegan = true;
        break;
    case Kind::LOAD:
        start.services.push_back(
            {.name = line.service, .load = {.took = line.took, .ended = line.time}, .start = {}});
        break;
    case Kind::LOAD_FAILED:
        start.services.push_back({.name = line.service,
                                  .load = {.took = {}, .ended = line.time},
                                  .start = {},
                                  .state = State::LOAD_FAILED});
        break;
    case Kind::TIMED_OUT:
        start.timedOut = true;
        break;
    case Kind::STARTING:
        // The service's own name, which may be another than that of its manifest.
        if (ServiceStart* const service = FindService(start, line.service)) {
            SetTime(service->load, line.time);
        }
        break;
    case Kind::STARTED:
        if (ServiceStart* const service = FindService(start, line.service)) {
            SetTime(service->start, line.time);
        }
        start.timedOut = false;
        break;
    default:
        EndStart(FindOrAddService(start, line.service), line, start.timedOut);
        start.timedOut = false;
    }
}

} // namespace

void StartLog::Add(const LogLine& line) {
    if (IsOfACall(line.kind)) {
        return;
    }
    if (DaemonStart* const start = StartOf(line)) {
        AddTo(*start, line);
    }
}

const DaemonStart* StartLog::Last() const {
    return m_starts.empty() ? nullptr : &m_starts.back();
}

DaemonStart* StartLog::StartOf(const LogLine& line) {
    const auto found =
        std::find_if(m_starts.rbegin(), m_starts.rend(),
                     [&line](const DaemonStart& start) { return start.process == line.process; });
    if (found != m_starts.rend() && !ComesAgain(*found, line.kind)) {
        return &*found;
    }
    if (!TellsOfADaemon(line.kind)) {
        return nullptr;
    }
    return &m_starts.emplace_back(DaemonStart{.process = line.process, .init = {}});
}

// The first service may be loaded while the daemon still sets itself up. Its line stands with the
// start before then, and goes over with the next line of that service.
void StartLog::AddTo(DaemonStart& start, const LogLine& line) {
    if (line.kind == Kind::START && FindService(start, line.service) == nullptr &&
        &start == &m_starts.back() && m_starts.size() > 1) {
        std::vector<ServiceStart>& before = m_starts[m_starts.size() - 2].services;
        if (!before.empty() && before.back().name == line.service &&
            before.back().state == State::LOADED) {
            start.services.push_back(before.back());
            before.pop_back();
        }
    }
    AddLine(start, line);
}

} // namespace hearthctl

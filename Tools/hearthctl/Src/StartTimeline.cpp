// SPDX-License-Identifier: Apache-2.0

// A stage ends no later than its line's time says: lines may wait on their way to the journal. And
// it ends no later than the next one begins, as the daemon takes one stage after the other. So the
// stages are placed from the last one back, each as late as both permit. What comes behind the last
// time, and all where the log has none, follows without a gap.

#include "StartTimeline.h"

#include <algorithm>
#include <chrono>

namespace hearthctl {

namespace {

// More than the daemon ever waits between two stages: its clock was set ahead.
constexpr Microseconds LONGEST_GAP = std::chrono::seconds(15);

struct Placed {
    const Stage* stage;
    Span span;
    bool isPlaced = false;

    Microseconds Took() const { return stage->took.value_or(Microseconds(0)); }
};

std::vector<Placed> StagesOf(const DaemonStart& start) {
    std::vector<Placed> stages;
    for (const ServiceStart& service : start.services) {
        stages.push_back({&service.load, {}});
        stages.push_back({&service.start, {}});
    }
    return stages;
}

void PlaceByTimes(std::vector<Placed>& stages) {
    std::optional<Microseconds> next; // the begin of the stage behind
    for (std::size_t i = stages.size(); i-- > 0;) {
        Placed& placed = stages[i];
        const std::optional<Microseconds>& ended = placed.stage->ended;
        if (!next && !ended) {
            continue;
        }
        const Microseconds end = next && ended ? std::min(*next, *ended) : next ? *next : *ended;
        next = end - placed.Took();
        placed.span = {*next, end};
        placed.isPlaced = true;
    }
}

// Closes what only a clock can have opened, and gives a stage of unknown length what lies between
// the stage ahead of it and its end.
void PlaceTheOthers(std::vector<Placed>& stages) {
    Microseconds shift{};
    Microseconds last =
        stages.empty() || !stages.front().isPlaced ? Microseconds(0) : stages.front().span.begin;
    for (Placed& placed : stages) {
        Span& span = placed.span;
        if (!placed.isPlaced) {
            span = {last, last + placed.Took()};
        } else {
            span = {span.begin - shift, span.end - shift};
            const Microseconds gap = span.begin - last;
            if (!placed.stage->took) {
                span.begin = last;
            } else if (gap > LONGEST_GAP) {
                shift += gap;
                span = {last, span.end - gap};
            }
        }
        last = span.end;
    }
}

// It ends while the first service begins, or somewhat later.
std::optional<Span> PlaceInit(const Stage& init, const std::vector<Placed>& stages) {
    if (!init.took) {
        return std::nullopt;
    }
    if (stages.empty()) {
        return Span{Microseconds(0), *init.took};
    }
    Microseconds end = stages.front().span.begin;
    if (init.ended && stages.front().isPlaced &&
        std::chrono::abs(*init.ended - end) < LONGEST_GAP) {
        end = *init.ended;
    }
    return Span{end - *init.took, end};
}

Microseconds Begin(const std::optional<Span>& init, const std::vector<Placed>& stages) {
    if (stages.empty()) {
        return init ? init->begin : Microseconds(0);
    }
    const Microseconds first = stages.front().span.begin;
    return init ? std::min(init->begin, first) : first;
}

// Of a service's start.
bool HasEnded(ServiceStart::State state) {
    return state != ServiceStart::State::LOADED && state != ServiceStart::State::LOAD_FAILED;
}

void Move(Span& span, Microseconds origin) {
    span = {span.begin - origin, span.end - origin};
}

} // namespace

Timeline PlaceOnAxis(const DaemonStart& start) {
    std::vector<Placed> stages = StagesOf(start);
    PlaceByTimes(stages);
    PlaceTheOthers(stages);
    Timeline timeline{.init = PlaceInit(start.init, stages), .services = {}};
    const Microseconds origin = Begin(timeline.init, stages);
    if (timeline.init) {
        Move(*timeline.init, origin);
        timeline.length = timeline.init->end;
    }
    for (std::size_t i = 0; i < stages.size(); i += 2) {
        Timeline::Service service{stages[i].span, stages[i + 1].span};
        if (!HasEnded(start.services[i / 2].state)) {
            service.start = {service.load.end, service.load.end};
        }
        Move(service.load, origin);
        Move(service.start, origin);
        timeline.length = std::max(timeline.length, service.start.end);
        timeline.services.push_back(service);
    }
    return timeline;
}

} // namespace hearthctl

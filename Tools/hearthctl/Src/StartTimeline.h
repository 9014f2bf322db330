// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <vector>

#include "StartLog.h"

namespace hearthctl {

/// When something was under way, from the begin of the daemon's start on.
struct Span {
    Microseconds begin{};
    Microseconds end{};

    Microseconds Length() const { return end - begin; }
};

/// How long a stage has taken: as its line says, or where it failed, as the log's times do.
inline std::optional<Microseconds> TimeOf(const Stage& stage, const Span& span) {
    if (stage.took) {
        return stage.took;
    }
    return span.Length() > Microseconds(0) ? std::optional(span.Length()) : std::nullopt;
}

/// A start on one time axis. Only the lengths are exact where the log has no times.
struct Timeline {
    struct Service {
        Span load;
        Span start;

        Microseconds Sum() const { return load.Length() + start.Length(); }
    };

    std::optional<Span> init;
    std::vector<Service> services; ///< in the order of the start's own; a stage that hasn't ended
                                   ///< has no length
    Microseconds length{};
};

/// Services come strictly one after the other. A clock that is set meanwhile, back or far ahead,
/// leaves no trace.
Timeline PlaceOnAxis(const DaemonStart& start);

} // namespace hearthctl

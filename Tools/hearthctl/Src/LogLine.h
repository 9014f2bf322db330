// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace hearthctl {

using Microseconds = std::chrono::microseconds;

/// What a line of the daemon's log tells of a start or of a call.
struct LogLine {
    enum class Kind {
        // The timing lines, which have `took`.
        INIT,  ///< the daemon has set itself up
        LOAD,  ///< the autostart has loaded a service
        START, ///< and has started it
        CALL,  ///< a service has answered, or its time was over
        // The others.
        MANAGER_BEGINS, ///< a daemon is about to read its manifests
        STARTING,       ///< a service is told to start, whoever asks for it
        STARTED,        ///< the autostart is done with a service
        LOAD_FAILED,
        START_FAILED,
        TIMED_OUT,       ///< a start or a stop has taken too long; whose, the line doesn't say
        REFUSED,         ///< a call for a service that isn't started
        UNKNOWN_SERVICE, ///< a call for a name that no service has
    };

    Kind kind{};
    std::string service; ///< its name, where the line tells of one
    Microseconds took{}; ///< whole milliseconds from the first one on
    /// When it was written or came to the journal, on the log's own clock; nothing where the line
    /// doesn't say it more exactly than to the second.
    std::optional<Microseconds> time;
    std::string process; ///< the daemon's process id; empty where the line has none
};

/// Nothing where the line tells of neither. It may stand as the daemon has written it, or as the
/// journal's tools print it, with what they put ahead.
std::optional<LogLine> ReadLogLine(std::string_view line);

} // namespace hearthctl

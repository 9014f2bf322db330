// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "LogLine.h"

namespace hearthctl {

/// One step of a start, as far as the log tells.
struct Stage {
    std::optional<Microseconds> took;
    std::optional<Microseconds> ended; ///< on the log's clock
};

struct ServiceStart {
    enum class State {
        LOADED, ///< its start hasn't ended
        STARTED,
        LOAD_FAILED,
        START_FAILED,
        TIMED_OUT, ///< the daemon hasn't waited for the end of its start
    };

    std::string name;
    Stage load;
    Stage start;
    State state = State::LOADED;
};

/// One process of the daemon.
struct DaemonStart {
    std::string process; ///< its id, or empty
    Stage init;
    std::vector<ServiceStart> services{}; ///< in the order in which they were taken
    bool managerBegan = false;
    bool timedOut = false; ///< and the line that tells whose start it was is still to come
};

/// Collects the starts that a log tells of. A daemon that a log with no process ids tells of begins
/// where a line comes for the second time that each daemon writes once.
class StartLog {
public:
    /// The lines in their order; those of calls are passed over.
    void Add(const LogLine& line);

    /// The one that began last; null where there is none.
    const DaemonStart* Last() const;

private:
    DaemonStart* StartOf(const LogLine& line);
    void AddTo(DaemonStart& start, const LogLine& line);

    std::deque<DaemonStart> m_starts;
};

} // namespace hearthctl

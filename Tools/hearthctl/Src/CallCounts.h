// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Latencies.h"
#include "LogLine.h"

namespace hearthctl {

/// What the log tells of the calls of each service since the last look. One thread.
class CallCounts {
public:
    struct Service {
        std::string name;
        int calls = 0;
        int refused = 0; ///< it isn't started, or there is none of that name
        // Zero where there are no calls.
        Microseconds median{};
        Microseconds ninetyFifth{};
        Microseconds longest{};
    };

    /// Lines that tell of no call are passed over.
    void Add(const LogLine& line);

    /// Those with the most calls first. The counts begin anew.
    std::vector<Service> Take();

private:
    struct Counted {
        Latencies latencies;
        int refused = 0;
    };

    std::map<std::string, Counted> m_services;
};

} // namespace hearthctl

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// How calls are made.
struct CallLoad {
    std::string destination; ///< bus name of the server
    std::string payload;
    int processes = 1; ///< client processes, each with a connection of its own
    int window = 1;    ///< calls that each process keeps in flight
    int calls = 0;     ///< of each process
};

struct CallResult {
    double callsPerSecond = 0;
    std::vector<double> latencies; ///< microseconds, sorted; those of all processes together
};

/// Makes the calls and checks every reply against the payload. Ends the program with a message on a
/// failed call or a wrong reply.
CallResult RunLoad(const CallLoad& load);

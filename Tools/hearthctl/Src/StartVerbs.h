// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Failure.h"

// The verbs that show how long the daemon's last start has taken. Neither a daemon nor a bus is
// needed.
namespace hearthctl {

struct StartOptions {
    std::string log;    ///< a file, "-" for standard input, or nothing for the journal
    std::string output; ///< the picture's file; empty for standard output
    bool json = false;
};

/// As an SVG.
ExitStatus Plot(const StartOptions& options);

/// As a table, the longest first.
ExitStatus Blame(const StartOptions& options);

} // namespace hearthctl

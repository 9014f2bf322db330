// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "Failure.h"

namespace hearthctl {

struct TopOptions {
    std::string log; ///< a file, "-" for standard input, or nothing for the journal
    std::chrono::duration<double> interval{1};
    bool once = false;
    bool json = false;
};

/// Shows the calls of each service as the log tells of them, until Ctrl-C or, with `once`, for one
/// interval. Neither the daemon nor a bus is asked.
ExitStatus Top(const TopOptions& options);

} // namespace hearthctl

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "Failure.h"

// The verbs that send something to a service.
namespace hearthctl {

struct CallOptions {
    std::string service;
    std::string arguments; ///< JSON, "@" and a file's name, "-" for standard input, or nothing
    std::chrono::duration<double> timeout{};
    int repeat = 1;
    bool json = false;
};

/// Prints the reply, or with `repeat` over 1 how long the calls have taken.
ExitStatus Call(const CallOptions& options);

/// Sends the one-way form.
ExitStatus Signal(const std::string& service, const std::string& arguments);

} // namespace hearthctl

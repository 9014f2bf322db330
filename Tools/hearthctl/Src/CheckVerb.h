// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Failure.h"

namespace hearthctl {

struct CheckOptions {
    std::vector<std::string> paths; ///< manifests, and folders of manifests
    std::string root;               ///< where paths of libraries begin
    bool strict = false;            ///< warnings fail too
    bool json = false;
};

/// Prints what the daemon would make of the manifests without a word. Neither a daemon nor a bus is
/// needed.
ExitStatus Check(const CheckOptions& options);

} // namespace hearthctl

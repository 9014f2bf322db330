// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace hearthctl {

/// A place in a manifest. Lines and columns count from 1, columns in characters.
struct Place {
    std::string path;
    int line = 1;
    int column = 1;
};

/// What a manifest's author wants to know.
struct Finding {
    enum class Severity {
        ERROR,   ///< the daemon ends, or passes over the manifest or the service
        WARNING, ///< it works in another way than the text says
    };

    Place place;
    Severity severity = Severity::ERROR;
    std::string text;
};

using Findings = std::vector<Finding>;

} // namespace hearthctl

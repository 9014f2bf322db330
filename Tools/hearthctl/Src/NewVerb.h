// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Failure.h"

namespace hearthctl {

struct NewOptions {
    std::string name;
    std::vector<std::string> sources; ///< of events, to listen to
};

/// Makes the project of a new service in a folder of its name, and prints how to go on. Neither a
/// daemon nor a bus is needed.
ExitStatus New(const NewOptions& options);

} // namespace hearthctl

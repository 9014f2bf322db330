// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Failure.h"

namespace hearthctl {

/// Where the deadlock watchdog's device keeps its dumps on a PC.
inline constexpr const char* DUMP_FOLDER = "/var/lib/hang-beacon";

/// Prints the newest `last` dumps of `folder`, the newest first.
ExitStatus Stacks(const std::string& folder, int last, bool json);

} // namespace hearthctl

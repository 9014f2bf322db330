// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Failure.h"

namespace hearthctl {

/// Prints the daemon's notifications as they come, those of `subjects` or all where that is empty,
/// until Ctrl-C, or until `count` have come where that is over 0. Blocks SIGINT and SIGTERM in the
/// calling thread: no other may have been started yet.
ExitStatus Monitor(const std::vector<std::string>& subjects, int count, bool json);

} // namespace hearthctl

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "StartLog.h"

namespace hearthctl {

/// The start as an SVG: a row for each service, with bars for its load and its start on a common
/// time axis. Names of services may hold any bytes.
std::string DrawStart(const DaemonStart& start);

} // namespace hearthctl

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "StartLog.h"

namespace hearthctl {

/// As the timing lines have it, "830 us" and "12 ms"; from ten seconds on "10.5 s".
std::string TimeText(Microseconds time);

/// "-" for nothing.
std::string TimeText(const std::optional<Microseconds>& time);

/// What a person is told of a service that hasn't started; nothing for one that has.
const char* TroubleText(ServiceStart::State state);

} // namespace hearthctl

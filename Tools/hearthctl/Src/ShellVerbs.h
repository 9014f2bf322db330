// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Failure.h"

// The verbs that speak to the daemon's debug shell. `json` asks for JSON on standard output;
// otherwise a terminal gets tables and everything else the daemon's own text.
namespace hearthctl {

ExitStatus List(bool json);

/// Of all services where `service` is empty.
ExitStatus Status(const std::string& service, bool json);

/// `verb` is "load", "start", "stop" or "unload".
ExitStatus ChangeState(const std::string& verb, const std::string& service, bool json);

} // namespace hearthctl

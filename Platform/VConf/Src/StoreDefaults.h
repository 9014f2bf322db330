// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vconf {

/// Where this process's store is: what VCONF_DATABASE names, or the platform's. Absolute, for
/// processes that change their folder, and so that no name means anything special to SQLite.
std::string DatabasePath();

/// What is another after each restart of the machine; empty where the kernel doesn't say.
std::string BootId();

} // namespace vconf

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace hearthctl {

/// What is wrong with the name of a new service, in words; empty where it can be one. The daemon
/// takes any name. This one is also a file's and a CMake target's, begins a C++ identifier, and
/// ends the name of a D-Bus signal.
std::string WrongInServiceName(const std::string& name);

/// How the service's classes begin: "MyClock" for "my_clock".
std::string ClassName(const std::string& serviceName);

} // namespace hearthctl

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace marrow::ser {

/// How a service is loaded. A manifest's number is stored as it is, so that other values occur.
enum class LoadType : int {
    COREAPP_PROCESS = 0,  ///< a shared library in the daemon's own process
    EXTERNAL_PROCESS = 1, ///< a process of its own; declined by its loader
};

/// When a service is started. Other values occur and count as LAZY.
enum class LaunchType : int {
    AUTOSTART = 0, ///< by the daemon, at its start
    LAZY = 1,      ///< by hand
};

/// A service as its manifest declares it.
struct service_info_t {
    std::string service_name;
    std::string lib_path;
    std::uint8_t priority = 0; ///< a higher number starts earlier
    LoadType load_type = LoadType::COREAPP_PROCESS;
    LaunchType launch_type = LaunchType::AUTOSTART;
    std::vector<std::string> dependencies; ///< names of services; kept, never consulted
};

} // namespace marrow::ser

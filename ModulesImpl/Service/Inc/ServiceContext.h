// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IService.h"
#include "IServiceProxy.h"
#include "ServiceInfo.h"

/// A loaded service. It exists from a loader's Load to its Unload, and owns the service, the proxy
/// and the library.
struct service_context_t {
    // A service_info_t, field for field.
    std::string service_name;
    std::string lib_path;
    std::uint8_t priority = 0;
    marrow::ser::LoadType load_type = marrow::ser::LoadType::COREAPP_PROCESS;
    marrow::ser::LaunchType launch_type = marrow::ser::LaunchType::AUTOSTART;
    std::vector<std::string> dependencies;

    marrow::ser::IService* service = nullptr;
    marrow::ser::IServiceProxy* proxy = nullptr;
    void* handle = nullptr; ///< of dlopen; null once the library is closed
};

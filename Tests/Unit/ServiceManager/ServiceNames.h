// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "ServiceInfo.h"

/// The names of these services, in their order.
inline std::vector<std::string> Names(const std::vector<marrow::ser::service_info_t>& services) {
    std::vector<std::string> names;
    for (const marrow::ser::service_info_t& info : services) {
        names.push_back(info.service_name);
    }
    return names;
}

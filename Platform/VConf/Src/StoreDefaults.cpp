// SPDX-License-Identifier: Apache-2.0
#include "StoreDefaults.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace vconf {

namespace {

constexpr const char* DATABASE = "/var/lib/vconf/vconf.db";

} // namespace

std::string DatabasePath() {
    const char* const named = secure_getenv("VCONF_DATABASE");
    if (named == nullptr || *named == '\0') {
        return DATABASE;
    }
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(named, error);
    return error ? named : absolute.string();
}

std::string BootId() {
    std::string id;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> id;
    return id;
}

} // namespace vconf

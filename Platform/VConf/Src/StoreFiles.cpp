// SPDX-License-Identifier: Apache-2.0
#include "StoreFiles.h"

#include <filesystem>
#include <sys/stat.h>

namespace vconf {

std::string StorePaths::Absolute(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
}

StoreFiles::StoreFiles(const StorePaths& paths)
    : m_log(Look(paths.log)), m_index(Look(paths.index)), m_bell(Look(paths.bell)) {}

std::string StoreFiles::NumberOf(const std::string& path) {
    const File file = Look(path);
    return std::to_string(file.device) + ":" + std::to_string(file.number);
}

StoreFiles::File StoreFiles::Look(const std::string& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) {
        return {};
    }
    return {file.st_dev, file.st_ino};
}

} // namespace vconf

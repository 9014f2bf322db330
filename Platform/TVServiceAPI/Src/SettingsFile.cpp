// SPDX-License-Identifier: Apache-2.0
#include "SettingsFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>

#include "ServiceLog.h"

namespace tvservice {

namespace {

constexpr std::chrono::milliseconds INTERVAL(500);

std::string ReadWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (file.is_open() && file.peek() != std::ifstream::traits_type::eof()) {
        text << file.rdbuf();
    }
    if (!file.is_open() || file.bad() || text.bad()) {
        throw std::runtime_error(std::strerror(errno));
    }
    return text.str();
}

} // namespace

std::string SettingsFile::DefaultPath() {
    const char* path = std::getenv("TVSERVICE_SETTINGS");
    return path != nullptr && *path != '\0' ? path : "/etc/tvservice.conf";
}

SettingsFile::SettingsFile(std::string path) : m_path(std::move(path)) {}

SettingsFile::Version SettingsFile::Look() const {
    struct stat status {};
    if (stat(m_path.c_str(), &status) != 0) {
        return {};
    }
    return {true,           status.st_dev,         status.st_ino,
            status.st_size, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

std::optional<Settings> SettingsFile::Poll(Clock::time_point now) {
    if (now < m_nextPoll) {
        return std::nullopt;
    }
    m_nextPoll = now + INTERVAL;
    const Version version = Look();
    if (m_seen == version) {
        return std::nullopt;
    }
    m_seen = version;
    if (!version.exists) {
        return Settings();
    }
    try {
        return Settings::Parse(ReadWhole(m_path));
    } catch (const std::runtime_error& error) {
        TVSERVICE_LOG(DLOG_WARN, "%s: %s; the settings stay as they are", m_path.c_str(),
                      error.what());
        return std::nullopt;
    }
}

} // namespace tvservice

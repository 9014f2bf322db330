// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>

#include "Settings.h"

namespace tvservice {

/// Reads the settings file again when it changes. It is looked at twice a second: a watch of the
/// kernel's would have to follow folders that don't exist yet. One thread.
class SettingsFile {
public:
    using Clock = std::chrono::steady_clock;

    /// The path that the environment variable TVSERVICE_SETTINGS names, else /etc/tvservice.conf.
    static std::string DefaultPath();

    explicit SettingsFile(std::string path);

    /// New settings where the file has changed, come or gone; a missing file has the default ones.
    /// One that doesn't parse is told in the log, and the settings stay.
    std::optional<Settings> Poll(Clock::time_point now);
    Clock::time_point NextPoll() const { return m_nextPoll; }

private:
    struct Version {
        bool exists = false;
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        std::int64_t seconds = 0; // of its last change, that of its attributes included
        std::int64_t nanoseconds = 0;

        bool operator==(const Version&) const = default;
    };
    Version Look() const;

    const std::string m_path;
    Clock::time_point m_nextPoll{};
    std::optional<Version> m_seen;
};

} // namespace tvservice

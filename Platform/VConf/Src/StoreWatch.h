// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "FileDescriptor.h"
#include "StoreFiles.h"

namespace vconf {

/// Waits for changes of a store's files. One thread, but for Wake, which is any thread's.
class StoreWatch {
public:
    using Clock = std::chrono::steady_clock;

    enum class Noticed {
        Bell,  ///< something has been changed
        Files, ///< something may have been changed, or the files are others now
        Wake,
    };

    /// Throws std::system_error where the kernel has no watch left.
    explicit StoreWatch(StorePaths paths);

    /// Waits for one of them. With `onlyWake` what happens to the files is left for later.
    Noticed Wait(bool onlyWake = false);
    void Wake();

    /// Watches the files that bear the names now, ahead of a look at them. Returns whether all of
    /// them are there.
    bool Renew();
    /// The same of other files, where the store has others now; and they are looked at.
    void Follow(const StorePaths& paths);
    /// Has Wait return within a second, for something that didn't work.
    void LookAgain();

private:
    bool WatchFolderOf(const std::string& path) const;
    bool Watch(const marrow::base::FileDescriptor& events, const std::string& path,
               unsigned what) const;
    bool DrainFiles();

    StorePaths m_paths;
    const marrow::base::FileDescriptor m_wake;
    const marrow::base::FileDescriptor m_bell;
    const marrow::base::FileDescriptor m_files;
    Clock::time_point m_look = Clock::time_point::max(); // when the files are due
    bool m_isArmed = false; // they have changed: no need to hear of it again until then
};

} // namespace vconf

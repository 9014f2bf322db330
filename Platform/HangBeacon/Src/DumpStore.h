// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Dump.h"

namespace hang_beacon {

/// Keeps the newest dumps as text files in one folder, one file for each. One thread.
///
/// A file's name begins with "dump-" and the time, so that names sort by age. Its text:
///
///     process 4711 hearthd
///     time 2026-11-21T09:30:00.123Z
///     thread 4712 echo_thread
///     4712)0x40130a: (poll+0x4f)
///     …
///
/// with a "thread" line ahead of each thread's lines, which stand as the thread has written them,
/// control characters excepted.
class DumpStore {
public:
    /// Keeps `most` dumps in `folder`, which is made where it is missing. Throws
    /// std::filesystem::filesystem_error where that fails.
    DumpStore(std::filesystem::path folder, std::size_t most);

    /// Writes a dump and removes the oldest beyond the limit. A file that can't be written is told
    /// in the log, and that dump is lost. Returns the file's path, empty for one that is lost.
    std::filesystem::path Add(const Dump& dump);

private:
    void RemoveOldest(const std::filesystem::path& newest) const;

    const std::filesystem::path m_folder;
    const std::size_t m_most;
    unsigned m_count = 0; // tells dumps of the same millisecond apart
};

} // namespace hang_beacon

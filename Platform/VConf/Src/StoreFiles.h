// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <sys/types.h>

namespace vconf {

/// The names of a store's files.
struct StorePaths {
    explicit StorePaths(const std::string& file, const std::string& given = {})
        : database(file), log(file + "-wal"), index(file + "-shm"), bell(file + "-bell"),
          name(given.empty() ? file : Absolute(given)) {}

    std::string database;
    std::string log;   ///< SQLite's: the commits that aren't in the database yet
    std::string index; ///< SQLite's: where in the log things are, and the locks
    std::string bell;  ///< written behind each change
    std::string name;  ///< by which the database was asked for: links may lead from there to it

    bool operator==(const StorePaths&) const = default;

private:
    static std::string Absolute(const std::string& path);
};

/// Which files bear these names, the database's aside. Whoever has open what has been removed would
/// speak to nobody, and whoever shares the database but not the index would spoil it.
class StoreFiles {
public:
    /// Those that are there now.
    explicit StoreFiles(const StorePaths& paths);
    /// Tells the file of this name from others that are there at the same time.
    static std::string NumberOf(const std::string& path);
    /// Whether the name that was given still leads to the database.
    static bool LeadsTo(const StorePaths& paths) {
        return paths.name == paths.database || Look(paths.name) == Look(paths.database);
    }

    bool operator==(const StoreFiles&) const = default;
    /// Whether SQLite's are there, as they are while somebody has the database open.
    bool AreThere() const { return m_log != File() && m_index != File(); }

private:
    struct File {
        dev_t device = 0;
        ino_t number = 0;

        bool operator==(const File&) const = default;
    };
    static File Look(const std::string& path);

    File m_log;
    File m_index;
    File m_bell;
};

} // namespace vconf

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <sqlite3.h>

namespace vconf {

/// A connection to a SQLite file, set up to share it with other processes: nobody is turned away
/// while others write. One thread at a time.
class Database {
public:
    /// Opens the file, for reading only where it can't be written, and makes it where it is
    /// missing. Throws OpenError.
    explicit Database(const std::string& path);

    bool IsReadOnly() const;
    /// Whether the file that is open here no longer bears its name.
    bool HasMoved() const;
    /// Its name without symbolic links.
    const std::string& File() const { return m_file; }

    /// Throws StoreError, as everything that runs statements.
    void Execute(const char* sql);
    /// The first column of the statement's only row, as text.
    std::string Ask(const char* sql);
    /// Changes the file's journal to a write-ahead log, where it is another.
    void UseWriteAheadLog();

    /// How many pages the log held behind the last commit of this connection.
    int LogPages() const { return m_state->logPages; }
    /// Copies them from the log to the database, as far as readers permit, and waits a little for
    /// these where `wait` says so. A failure is no harm: the next one copies the same pages.
    void Checkpoint(bool wait);

    /// Throws StoreError with the connection's last error.
    [[noreturn]] void Fail() const;
    sqlite3* Handle() const { return m_connection.get(); }

private:
    struct Close {
        void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
    };

    struct State {
        int logPages = 0;
        std::chrono::milliseconds patience{};
    };

    const std::unique_ptr<State> m_state; // SQLite keeps its address
    std::unique_ptr<sqlite3, Close> m_connection;
    std::string m_file;
};

} // namespace vconf

// SPDX-License-Identifier: Apache-2.0
#include "Database.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>

#include "Statement.h"
#include "StoreError.h"

namespace vconf {

namespace {

using Clock = std::chrono::steady_clock;

// Whoever has the file locked writes a page or two, and at times waits for the disk.
constexpr std::chrono::milliseconds PATIENCE(30'000);
// A reader that has been stopped mustn't hold up whoever clears the log.
constexpr std::chrono::milliseconds CHECKPOINT_PATIENCE(100);
constexpr long SHORTEST_NAP = 50'000; // nanoseconds
constexpr long LONGEST_NAP = 2'000'000;

// SQLite's own handler begins with a millisecond, many times what a set takes.
void Nap(int tries) {
    const timespec nap{0, std::min(LONGEST_NAP, SHORTEST_NAP * (tries + 1))};
    nanosleep(&nap, nullptr);
}

int WaitForOthers(void* patience, int tries) {
    thread_local Clock::time_point begin;
    if (tries == 0) {
        begin = Clock::now();
    }
    if (Clock::now() - begin > *static_cast<const std::chrono::milliseconds*>(patience)) {
        return 0;
    }
    Nap(tries);
    return 1;
}

int OnCommit(void* logPages, sqlite3* /*connection*/, const char* /*database*/, int inLog) {
    *static_cast<int*>(logPages) = inLog;
    return SQLITE_OK;
}

std::string Reason(sqlite3* connection) {
    std::string reason = sqlite3_errmsg(connection);
    if (const int error = sqlite3_system_errno(connection);
        error != 0 && sqlite3_errcode(connection) != SQLITE_BUSY) {
        reason += std::string(" (") + std::strerror(error) + ")";
    }
    return reason;
}

} // namespace

Database::Database(const std::string& path) : m_state(std::make_unique<State>()) {
    sqlite3* connection = nullptr;
    const int opened = sqlite3_open_v2(path.c_str(), &connection,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE |
                                           SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE,
                                       nullptr);
    m_connection.reset(connection);
    if (opened != SQLITE_OK) {
        throw OpenError("can't open " + path + ": " +
                        (connection != nullptr ? Reason(connection) : sqlite3_errstr(opened)));
    }
    m_file = sqlite3_db_filename(connection, "main");
    m_state->patience = PATIENCE;
    sqlite3_busy_handler(connection, WaitForOthers, &m_state->patience);
    sqlite3_wal_hook(connection, OnCommit, &m_state->logPages);
    // The log stays where the last process ends: readers who may not write couldn't do without, and
    // nobody has to wait for the disk at its end.
    sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    // The file may be anybody's: nothing in it is to run.
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

bool Database::IsReadOnly() const {
    return sqlite3_db_readonly(m_connection.get(), "main") != 0;
}

void Database::Execute(const char* sql) {
    if (sqlite3_exec(m_connection.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail();
    }
}

bool Database::HasMoved() const {
    int hasMoved = 0;
    sqlite3_file_control(m_connection.get(), "main", SQLITE_FCNTL_HAS_MOVED, &hasMoved);
    return hasMoved != 0;
}

std::string Database::Ask(const char* sql) {
    Statement statement(*this, sql);
    const Statement::Run run(statement);
    return statement.Step() ? std::string(statement.Text(0)) : std::string();
}

void Database::UseWriteAheadLog() {
    if (Ask("PRAGMA journal_mode") == "wal") {
        return;
    }
    // Several that change it at once are turned away without having been made to wait.
    const Clock::time_point begin = Clock::now();
    for (int tries = 0;; ++tries) {
        const int done = sqlite3_exec(m_connection.get(), "PRAGMA journal_mode = WAL", nullptr,
                                      nullptr, nullptr);
        if (done == SQLITE_OK) {
            break;
        }
        if ((done & 0xFF) != SQLITE_BUSY || Clock::now() - begin > PATIENCE) {
            Fail();
        }
        Nap(tries);
    }
    if (Ask("PRAGMA journal_mode") != "wal") {
        throw StoreError(m_file + ": there can be no write-ahead log here");
    }
}

void Database::Checkpoint(bool wait) {
    m_state->patience = CHECKPOINT_PATIENCE;
    sqlite3_wal_checkpoint_v2(m_connection.get(), nullptr,
                              wait ? SQLITE_CHECKPOINT_RESTART : SQLITE_CHECKPOINT_PASSIVE, nullptr,
                              nullptr);
    m_state->patience = PATIENCE;
}

void Database::Fail() const {
    throw StoreError(m_file + ": " + Reason(m_connection.get()));
}

} // namespace vconf

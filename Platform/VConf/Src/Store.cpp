// SPDX-License-Identifier: Apache-2.0

// One row for each key, and one sequence of numbers over all changes: a set or a removal gives the
// key's row the next number, so that whoever watches reads what is behind the last number that it
// has seen. A removed key stays as a row of VCONF_NONE, or nobody could be told of it.
//
// Each change is one statement and its own transaction, appended to the write-ahead log: readers
// never wait, writers wait for one another, and a process that is killed leaves its change whole or
// none of it. The log goes to the disk when it is copied to the database, and at Sync. Behind the
// commit comes the bell.
//
// The first who opens the database after a restart of the machine takes away the keys that end with
// it, and the removed ones. A row without a name keeps the highest number then: it isn't used
// twice.
#include "Store.h"

#include <cmath>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

#include "KeyName.h"
#include "StoreError.h"
#include "VConfLog.h"

namespace vconf {

namespace {

constexpr std::size_t LONGEST_TEXT = 1024 * 1024;
constexpr const char* APPLICATION = "1447251782"; // "VCOF"
constexpr const char* FORMAT = "1";
// Of a change. SQLite's own choice would be any number at all once the highest is in use; this one
// is refused then.
constexpr const char* NEXT_NUMBER = "(SELECT coalesce(max(number), 0) + 1 FROM keys)";

// The log in pages of 4 KiB: from when it is copied, how often that is tried, and from when readers
// are waited for, without whose leave it can't begin anew.
constexpr int CHECKPOINT_PAGES = 1000;
constexpr int CHECKPOINT_STEP = 250;
constexpr int MOST_PAGES = 8000;

const char* NameOf(VConfType type) {
    switch (type) {
    case VCONF_STRING:
        return "a string";
    case VCONF_INT:
        return "an integer";
    case VCONF_DOUBLE:
        return "a double";
    case VCONF_BOOL:
        return "a boolean";
    case VCONF_NONE:
        break;
    }
    return "nothing";
}

// The value of a row whose type stands in `column` and the value behind it; nothing where they
// don't go together, as only somebody else can have written.
std::optional<StoredValue> ValueOf(const Statement& row, int column) {
    StoredValue value;
    const std::int64_t type =
        row.Class(column) == SQLITE_INTEGER ? row.Integer(column) : std::int64_t{-1};
    const int storage = row.Class(column + 1);
    if (type == VCONF_NONE) {
        return value;
    }
    if ((type == VCONF_INT || type == VCONF_BOOL) && storage == SQLITE_INTEGER) {
        const std::int64_t integer = row.Integer(column + 1);
        if (integer >= std::numeric_limits<int>::min() &&
            integer <= std::numeric_limits<int>::max()) {
            value.type = static_cast<VConfType>(type);
            value.integer = static_cast<int>(integer);
            return value;
        }
    } else if (type == VCONF_DOUBLE && storage == SQLITE_FLOAT) {
        value.type = VCONF_DOUBLE;
        value.real = row.Real(column + 1);
        return value;
    } else if (type == VCONF_STRING && storage == SQLITE_TEXT) {
        const std::string_view text = row.Text(column + 1);
        if (text.size() <= LONGEST_TEXT && text.find('\0') == std::string_view::npos &&
            IsUtf8(text)) {
            value.type = VCONF_STRING;
            value.text = text;
            return value;
        }
    }
    return std::nullopt;
}

} // namespace

Store::Store(const std::string& path, std::string bootId) try
    : m_bootId(std::move(bootId)), m_database(path), m_paths(m_database.File(), path),
      m_files(m_paths) {
    Prepare();
} catch (const OpenError&) {
    throw;
} catch (const std::exception& error) {
    throw OpenError(std::string("can't open ") + error.what());
}

void Store::Prepare() {
    const bool isReadOnly = m_database.IsReadOnly();
    if (!isReadOnly) {
        MakeTables();
    }
    if (m_database.Ask("PRAGMA application_id") != APPLICATION) {
        throw StoreError(m_paths.database + ": it is no configuration store");
    }
    if (m_database.Ask("PRAGMA user_version") != FORMAT) {
        throw StoreError(m_paths.database + ": it has a format that isn't known here");
    }
    if (!isReadOnly) {
        m_database.UseWriteAheadLog();
        m_database.Execute("PRAGMA synchronous = NORMAL");
        m_database.Execute("PRAGMA journal_size_limit = 4194304");
        m_bell.emplace(m_paths.bell, m_paths.database);
        if (!IsOfThisBoot()) {
            EndMemoryKeys();
        }
    } else {
        m_hidesMemoryKeys = !IsOfThisBoot();
    }
    // A copy that is put back has the same word in it, and other changes behind the same numbers.
    m_id = m_database.Ask("SELECT value FROM meta WHERE name = 'id'") + " " +
           StoreFiles::NumberOf(m_paths.database);
    m_get.emplace(m_database, "SELECT type, value FROM keys WHERE name = ?1");
    const std::string next = NEXT_NUMBER;
    m_set.emplace(m_database, ("INSERT OR REPLACE INTO keys(number, name, type, value) VALUES(" +
                               next + ", ?1, ?2, ?3)")
                                  .c_str());
    m_unset.emplace(m_database, ("UPDATE keys SET number = " + next +
                                 ", type = 0, value = NULL WHERE name = ?1 AND type <> 0")
                                    .c_str());
    m_list.emplace(m_database,
                   "SELECT name, type, value, number FROM keys WHERE name >= ?1 ORDER BY name");
    m_lastNumber.emplace(m_database, "SELECT max(number) FROM keys");
    m_changes.emplace(m_database, "SELECT name, type, value, number FROM keys WHERE number > ?1 "
                                  "ORDER BY number");
    m_sync.emplace(m_database, "UPDATE meta SET value = value + 1 WHERE name = 'syncs'");
    LastNumber(); // a first look makes SQLite's files where they are missing
    m_hasLog = m_database.Ask("PRAGMA journal_mode") == "wal";
    m_files = StoreFiles(m_paths);
}

// A new file, or one of no content. Two may try that at once.
void Store::MakeTables() {
    constexpr const char* COUNT = "SELECT count(*) FROM sqlite_schema";
    if (m_database.Ask(COUNT) != "0") {
        return;
    }
    m_database.UseWriteAheadLog();
    m_database.Execute("BEGIN IMMEDIATE");
    if (m_database.Ask(COUNT) == "0") {
        // `value` has no type, so that what is bound is what is kept.
        m_database.Execute(
            "CREATE TABLE keys(number INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE,"
            "                  type INTEGER NOT NULL, value);"
            "CREATE TABLE meta(name TEXT PRIMARY KEY, value) WITHOUT ROWID;"
            "INSERT INTO meta VALUES('id', lower(hex(randomblob(8)))), ('boot', ''), ('syncs', 0);"
            "PRAGMA application_id = 1447251782;"
            "PRAGMA user_version = 1;");
    }
    m_database.Execute("COMMIT");
}

bool Store::IsOfThisBoot() {
    return m_bootId.empty() ||
           m_database.Ask("SELECT value FROM meta WHERE name = 'boot'") == m_bootId;
}

void Store::EndMemoryKeys() {
    m_database.Execute("BEGIN IMMEDIATE");
    if (!IsOfThisBoot()) { // still: others may have opened it meanwhile
        const std::string end = "INSERT OR REPLACE INTO keys(number, name, type) VALUES(" +
                                std::string(NEXT_NUMBER) +
                                ", '', 0);"
                                "DELETE FROM keys WHERE (type = 0 AND name <> '') OR"
                                "                       (name >= 'memory/' AND name < 'memory0')";
        m_database.Execute(end.c_str());
        Statement keep(m_database, "INSERT OR REPLACE INTO meta VALUES('boot', ?1)");
        const Statement::Run run(keep);
        keep.Bind(1, std::string_view(m_bootId));
        keep.Step();
    }
    m_database.Execute("COMMIT");
}

StoredValue Store::Get(std::string_view name) {
    CheckKeyName(name);
    if (m_hidesMemoryKeys && IsMemoryKey(name)) {
        m_hidesMemoryKeys = !IsOfThisBoot(); // somebody who may write takes them away
    }
    const Statement::Run run(*m_get);
    m_get->Bind(1, name);
    const bool isThere = m_get->Step() && !(m_hidesMemoryKeys && IsMemoryKey(name));
    const std::optional<StoredValue> value = isThere ? ValueOf(*m_get, 0) : StoredValue();
    if (!value) {
        throw KeyError(std::string(name) + " has a value in the database that isn't valid");
    }
    if (value->type == VCONF_NONE) {
        throw KeyError("no key " + std::string(name));
    }
    return *value;
}

StoredValue Store::Get(std::string_view name, VConfType type) {
    StoredValue value = Get(name);
    if (value.type != type) {
        throw KeyError(std::string(name) + " is " + NameOf(value.type) + ", not " + NameOf(type));
    }
    return value;
}

void Store::Set(std::string_view name, VConfType type, const auto& value) {
    CheckKeyName(name);
    {
        const Statement::Run run(*m_set);
        m_set->Bind(1, name);
        m_set->Bind(2, std::int64_t{type});
        m_set->Bind(3, value);
        m_set->Step();
    }
    Changed();
}

void Store::SetInt(std::string_view name, int value) {
    Set(name, VCONF_INT, std::int64_t{value});
}

void Store::SetBool(std::string_view name, int value) {
    Set(name, VCONF_BOOL, std::int64_t{value});
}

void Store::SetDouble(std::string_view name, double value) {
    if (std::isnan(value)) {
        throw KeyError("the value of " + std::string(name) + " is not a number");
    }
    Set(name, VCONF_DOUBLE, value);
}

void Store::SetString(std::string_view name, std::string_view value) {
    if (value.size() > LONGEST_TEXT) {
        throw KeyError("the value of " + std::string(name) + " is longer than 1 MiB");
    }
    if (value.find('\0') != std::string_view::npos || !IsUtf8(value)) {
        throw KeyError("the value of " + std::string(name) + " is not UTF-8");
    }
    Set(name, VCONF_STRING, value);
}

void Store::Unset(std::string_view name) {
    CheckKeyName(name);
    {
        const Statement::Run run(*m_unset);
        m_unset->Bind(1, name);
        m_unset->Step();
        if (sqlite3_changes(m_database.Handle()) == 0) {
            throw KeyError("no key " + std::string(name));
        }
    }
    Changed();
}

// Those who wait for the change come first; the log may take the disk's time.
void Store::Changed() {
    if (m_bell) {
        m_bell->Ring();
    }
    ShortenLog();
}

void Store::ShortenLog() {
    const int pages = m_database.LogPages();
    if (pages < CHECKPOINT_PAGES) {
        m_nextCheckpoint = CHECKPOINT_PAGES;
    } else if (pages >= m_nextCheckpoint) {
        m_database.Checkpoint(pages >= MOST_PAGES);
        m_nextCheckpoint = pages + CHECKPOINT_STEP;
    }
}

void Store::Sync() {
    // A commit that is to be on the disk itself takes everything there that stands in the log ahead
    // of it, and a log begins anew only when its content is on the disk as part of the database.
    // (Copying the log to the database wouldn't do: a reader in the middle of it may forbid that.)
    m_database.Execute("PRAGMA synchronous = FULL");
    try {
        const Statement::Run run(*m_sync);
        m_sync->Step();
        if (sqlite3_changes(m_database.Handle()) == 0) { // then there was no commit either
            throw StoreError(m_paths.database + ": it lacks the row that is written at a sync");
        }
    } catch (const StoreError&) {
        m_database.Execute("PRAGMA synchronous = NORMAL");
        throw;
    }
    m_database.Execute("PRAGMA synchronous = NORMAL");
    ShortenLog(); // somebody may do nothing but sync
}

std::vector<StoredKey> Store::List(std::string_view prefix) {
    m_hidesMemoryKeys = m_hidesMemoryKeys && !IsOfThisBoot();
    std::vector<StoredKey> keys;
    const Statement::Run run(*m_list);
    m_list->Bind(1, prefix);
    while (m_list->Step()) {
        const std::string_view name = m_list->Text(0);
        if (!name.starts_with(prefix)) {
            break;
        }
        const std::optional<StoredValue> value = ValueOf(*m_list, 1);
        if (value && value->type != VCONF_NONE && IsKeyName(name) &&
            !(m_hidesMemoryKeys && IsMemoryKey(name))) {
            keys.push_back({std::string(name), *value, m_list->Integer(3)});
        }
    }
    return keys;
}

std::int64_t Store::LastNumber() {
    const Statement::Run run(*m_lastNumber);
    return m_lastNumber->Step() ? m_lastNumber->Integer(0) : 0;
}

std::vector<StoredKey> Store::ChangesSince(std::int64_t& number,
                                           const std::function<bool(std::string_view)>& isWanted) {
    std::vector<StoredKey> keys;
    std::int64_t last = number; // the caller's stays where this fails, or those so far were lost
    const Statement::Run run(*m_changes);
    m_changes->Bind(1, number);
    while (m_changes->Step()) {
        const std::string_view name = m_changes->Text(0);
        last = m_changes->Integer(3);
        if (!isWanted(name)) {
            continue;
        }
        if (std::optional<StoredValue> value = ValueOf(*m_changes, 1)) {
            keys.push_back({std::string(name), std::move(*value), last});
        } else {
            VCONF_LOG(DLOG_WARN, "%s has a value in the database that isn't valid",
                      std::string(name).c_str());
        }
    }
    number = last;
    return keys;
}

} // namespace vconf

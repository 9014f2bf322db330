// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes in the place of the configuration's database. Whatever they are,
// each call ends, with a value that is valid or with a failure that says why; and a database with
// our tables, in which SQLite finds nothing wrong, works.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "Dlog.h"
#include "Fuzz.h"
#include "FuzzCheck.h"
#include "KeyName.h"
#include "LazyStore.h"
#include "LogCapture.h"
#include "Store.h"
#include "StoreError.h"
#include "StoreWatch.h"
#include "TemporaryFolder.h"

namespace {

using vconf::KeyError;
using vconf::LazyStore;
using vconf::OpenError;
using vconf::Store;
using vconf::StoredKey;
using vconf::StoredValue;
using vconf::StoreError;

constexpr const char* KEY = "db/fuzz";
constexpr const char* MEMORY_KEY = "memory/fuzz";

std::filesystem::path File() {
    static const TemporaryFolder folder;
    return folder.Path() / "vconf.db";
}

void Remove(const std::filesystem::path& file) {
    for (const char* ending : {"", "-wal", "-shm", "-bell", "-journal"}) {
        std::filesystem::remove(file.string() + ending);
    }
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The first column of the statement's rows, without a lock and without a file of SQLite's being
// made. A failure is another text than all that is looked for.
std::string Look(const std::filesystem::path& file, const char* sql) {
    sqlite3* connection = nullptr;
    std::string seen;
    const auto add = [](void* text, int /*count*/, char** values, char** /*names*/) {
        *static_cast<std::string*>(text) += values[0] == nullptr ? "null;" : values[0];
        return 0;
    };
    const std::string name = "file:" + file.string() + "?immutable=1";
    if (sqlite3_open_v2(name.c_str(), &connection, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                        nullptr) != SQLITE_OK ||
        sqlite3_exec(connection, sql, add, &seen, nullptr) != SQLITE_OK) {
        seen = "failed";
    }
    sqlite3_close(connection);
    return seen;
}

std::string Tables(const std::filesystem::path& file) {
    return Look(file, "SELECT sql FROM sqlite_schema ORDER BY name") +
           Look(file, "PRAGMA application_id") + Look(file, "PRAGMA user_version");
}

std::string TablesOfANewStore() {
    const std::filesystem::path file = File().replace_filename("new.db");
    Store(file, "").Sync();
    sqlite3* connection = nullptr; // what closes last brings the tables from the log to the file
    sqlite3_open(file.c_str(), &connection);
    sqlite3_exec(connection, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
    sqlite3_close(connection);
    return Tables(file);
}

bool IsWhole(std::span<const std::uint8_t> input) {
    static const std::string tables = TablesOfANewStore();
    constexpr std::size_t WRITE_VERSION = 18; // a higher one than SQLite knows may only be read
    return input.size() > WRITE_VERSION && input[WRITE_VERSION] <= 2 && Tables(File()) == tables &&
           Look(File(), "PRAGMA integrity_check") == "ok" &&
           // With less than this left there is no number for another change.
           Look(File(), "SELECT count(*) FROM keys WHERE number > 0x7fffffffffffff00") == "0";
}

void CheckValue(const StoredValue& value) {
    const bool isKnown = value.type == VCONF_NONE || value.type == VCONF_STRING ||
                         value.type == VCONF_INT || value.type == VCONF_DOUBLE ||
                         value.type == VCONF_BOOL;
    Require(isKnown, "the type is known: " + std::to_string(value.type));
    Require(vconf::IsUtf8(value.text) && !Contains(value.text, std::string(1, '\0')),
            "the text is UTF-8: " + value.text);
}

// One who uses the store as a process does.
class Visitor {
public:
    Visitor(const char* bootId, bool isWhole)
        : m_isWhole(isWhole), m_place(File(), bootId), m_store(m_place) {}

    void Read() {
        std::vector<StoredKey> keys;
        Try([&](Store& store) { keys = store.List(""); });
        for (const StoredKey& key : keys) {
            Require(vconf::IsKeyName(key.name), "the name of a key that is listed is one");
            CheckValue(key.value);
            Try([&](Store& store) { CheckValue(store.Get(key.name)); });
        }
        const auto isBefore = [](const auto& a, const auto& b) { return a.name < b.name; };
        Require(!m_isWhole || std::is_sorted(keys.begin(), keys.end(), isBefore),
                "keys are listed in order");
        ReadChanges();
    }

    void Write() {
        std::int64_t last = 0;
        if (!Demand([&](Store& store) { last = store.LastNumber(); })) {
            return;
        }
        m_watch.emplace(Paths());
        m_watch->Renew();
        Set([](Store& store) { store.SetInt(KEY, 1); }, KEY, {VCONF_INT, 1, 0, ""});
        Set([](Store& store) { store.SetDouble(KEY, 0.5); }, KEY, {VCONF_DOUBLE, 0, 0.5, ""});
        Set([](Store& store) { store.SetString(MEMORY_KEY, "a"); }, MEMORY_KEY,
            {VCONF_STRING, 0, 0, "a"});
        Try([&](Store& store) {
            Require(!m_isWhole || store.LastNumber() > last, "changes have higher numbers");
        });
        Demand([](Store& store) { store.SetBool("db/other", 1); });
        Demand([](Store& store) { store.Unset("db/other"); });
        Require(!Try([](Store& store) { store.Get("db/other"); }) || !m_isWhole,
                "what is removed is gone");
        Try([](Store& store) { store.Sync(); }); // somebody may have taken its row away
    }

    /// After a restart of the machine.
    void ReadAgain() {
        Demand([](Store& store) { store.Get(KEY, VCONF_DOUBLE); });
        Require(!Try([](Store& store) { store.Get(MEMORY_KEY); }) || !m_isWhole,
                "keys of the memory end with the machine");
        Read();
    }

private:
    static vconf::StorePaths Paths() { return vconf::StorePaths(File()); }

    // Whether that has been done. What hasn't says why, and what can't be opened does so in the log
    // too.
    template <typename Work>
    bool Try(const Work& work) {
        try {
            m_store.Use(work);
            return true;
        } catch (const KeyError& error) {
            m_reason = error.what();
            Require(!m_reason.empty(), "what is wrong with the key is told");
        } catch (const StoreError& error) {
            m_reason = error.what();
            Require(Contains(m_reason, File()), "the file is named: " + m_reason);
            Require(dynamic_cast<const OpenError*>(&error) == nullptr ||
                        LogCapture::CountBeginning(DLOG_ERROR, m_reason) > 0,
                    "it is told: " + m_reason);
        }
        return false;
    }
    template <typename Work>
    bool Demand(const Work& work) {
        const bool isDone = Try(work);
        Require(isDone || !m_isWhole, "it works: " + m_reason);
        return isDone;
    }

    template <typename Work>
    void Set(const Work& work, const char* key, const StoredValue& value) {
        if (!Demand(work)) {
            return;
        }
        m_watch->LookAgain(); // what isn't heard ends the wait with another answer
        Require(m_watch->Wait() == vconf::StoreWatch::Noticed::Bell, "a change is heard");
        Demand([&](Store& store) {
            Require(store.Get(key) == value || !m_isWhole, "what is read is what was set");
        });
    }

    void ReadChanges() {
        std::int64_t number = 0;
        Demand([&](Store& store) {
            const auto changes = store.ChangesSince(number, [](std::string_view) { return true; });
            for (const StoredKey& key : changes) {
                CheckValue(key.value);
            }
            Require(!m_isWhole || number <= std::max(store.LastNumber(), std::int64_t{0}),
                    "the last change is the last");
        });
    }

    const bool m_isWhole;
    std::string m_reason;
    vconf::StorePlace m_place;
    LazyStore m_store;
    std::optional<vconf::StoreWatch> m_watch;
};

} // namespace

int FuzzConfiguration(std::span<const std::uint8_t> input) {
    Remove(File());
    std::ofstream(File(), std::ios::binary)
        .write(reinterpret_cast<const char*>(input.data()),
               static_cast<std::streamsize>(input.size()));
    const bool isWhole = IsWhole(input);
    LogCapture::Clear();
    {
        Visitor visitor("boot 1", isWhole);
        visitor.Read();
        visitor.Write();
    }
    LogCapture::Clear();
    Visitor("boot 2", isWhole).ReadAgain();
    return 0;
}

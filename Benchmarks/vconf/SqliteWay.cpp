// SPDX-License-Identifier: Apache-2.0
#include <sqlite3.h>
#include <stdexcept>

#include "KeepingWays.h"

namespace {

class SqliteWay final : public KeepingWay {
public:
    explicit SqliteWay(const std::string& folder) {
        Check(sqlite3_open((folder + "/bare.db").c_str(), &m_database));
        Execute("PRAGMA journal_mode = WAL");
        Execute("CREATE TABLE IF NOT EXISTS keys(number INTEGER PRIMARY KEY, name TEXT NOT NULL "
                "UNIQUE, type INTEGER NOT NULL, value)");
        Execute("PRAGMA synchronous = NORMAL");
        Check(sqlite3_prepare_v2(
            m_database,
            "INSERT OR REPLACE INTO keys(name, type, value) VALUES('db/bench/value', 40, ?1)", -1,
            &m_set, nullptr));
    }
    ~SqliteWay() override {
        sqlite3_finalize(m_set);
        sqlite3_close(m_database);
    }

    void Set(const std::string& value) override {
        sqlite3_bind_text(m_set, 1, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        const int result = sqlite3_step(m_set);
        sqlite3_reset(m_set);
        Check(result == SQLITE_DONE ? SQLITE_OK : result);
    }
    void SetAndSync(const std::string& value) override {
        Execute("PRAGMA synchronous = FULL");
        Set(value);
        Execute("PRAGMA synchronous = NORMAL");
    }
    void Watch(std::function<void(const std::string&)> /*told*/) override {
        throw std::logic_error("there is nothing to watch");
    }

private:
    void Check(int result) const {
        if (result != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(m_database));
        }
    }
    void Execute(const char* sql) const {
        Check(sqlite3_exec(m_database, sql, nullptr, nullptr, nullptr));
    }

    sqlite3* m_database = nullptr;
    sqlite3_stmt* m_set = nullptr;
};

} // namespace

std::unique_ptr<KeepingWay> MakeSqliteWay(const std::string& folder) {
    return std::make_unique<SqliteWay>(folder);
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <vector>

#include "Store.h"
#include "StoreError.h"
#include "TemporaryFolder.h"

/// A store by itself, without what makes it one for the process.
class StoreTest : public testing::Test {
protected:
    std::string File() const { return (m_folder.Path() / "vconf.db").string(); }
    vconf::Store Open(const std::string& boot = "boot 1") const {
        return vconf::Store(File(), boot);
    }

    void Execute(const std::string& sql) const {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(File().c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    std::string WhyNotOpen() const {
        try {
            Open();
            return "it is open";
        } catch (const vconf::OpenError& error) {
            return error.what();
        }
    }
    static std::string WhyNot(const std::function<void()>& work) {
        try {
            work();
            return "it has worked";
        } catch (const vconf::KeyError& error) {
            return error.what();
        }
    }

private:
    const TemporaryFolder m_folder;
};

inline std::vector<std::string> Names(const std::vector<vconf::StoredKey>& keys) {
    std::vector<std::string> names;
    for (const vconf::StoredKey& key : keys) {
        names.push_back(key.name);
    }
    return names;
}

inline std::vector<std::string> ChangedSince(vconf::Store& store, std::int64_t& number) {
    return Names(store.ChangesSince(number, [](std::string_view) { return true; }));
}

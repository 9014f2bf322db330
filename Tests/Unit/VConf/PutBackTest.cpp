// SPDX-License-Identifier: Apache-2.0

// A store whose old content is put back while it is in use.

#include <chrono>
#include <filesystem>
#include <sqlite3.h>
#include <thread>

#include "Store.h"
#include "StoreDefaults.h"
#include "VConfFixture.h"

namespace {

class PutBackTest : public VConfTest {
protected:
    // Keeps the store as it is now, without anything in the log.
    static void Keep() {
        Execute("PRAGMA wal_checkpoint(TRUNCATE)");
        std::filesystem::copy_file(Database(), Copy(),
                                   std::filesystem::copy_options::overwrite_existing);
    }
    static std::string Copy() { return Database() + ".copy"; }
    static void MoveFiles(const std::string& from, const std::string& to) {
        for (const char* const suffix : {"", "-wal", "-shm", "-bell"}) {
            std::filesystem::rename(from + suffix, to + suffix);
        }
    }

    static void Execute(const char* sql) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(Database().c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
    }
};

TEST_F(PutBackTest, ACopyInThePlaceOfTheDatabaseIsToldAndFollowed) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    Keep();
    auto& list = VConfTest::Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(list.WaitForLast("db/a=2"));
    RemoveFiles();
    std::filesystem::rename(Copy(), Database());
    // As many changes as it lacks, before anybody can have looked.
    ASSERT_EQ(vconf_set_int("db/b", 1), 0);
    ASSERT_EQ(vconf_set_int("db/b", 2), 0);
    EXPECT_TRUE(list.WaitForLast("db/a=1"));
    ASSERT_EQ(vconf_set_int("db/a", 3), 0);
    EXPECT_TRUE(list.WaitForLast("db/a=3"));
}

TEST_F(PutBackTest, TheSameFilesThatComeBackAreToldAndFollowed) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_EQ(vconf_set_int("db/b", 1), 0);
    auto& list = VConfTest::Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    MoveFiles(Database(), Copy());
    ASSERT_EQ(vconf_set_int("db/a", 2), 0); // in another store
    ASSERT_EQ(vconf_set_int("db/b", 2), 0);
    ASSERT_TRUE(list.WaitForLast("db/a=2"));
    auto& later = VConfTest::Keep<ChangeList>();
    ASSERT_EQ(Watch("db/b", later), 0);
    RemoveFiles();
    MoveFiles(Copy(), Database());
    EXPECT_TRUE(list.WaitForLast("db/a=1"));
    EXPECT_TRUE(later.WaitForLast("db/b=1"));
    ASSERT_EQ(vconf_set_int("db/a", 3), 0);
    EXPECT_TRUE(list.WaitForLast("db/a=3"));
}

TEST_F(PutBackTest, ALinkThatLeadsToAnotherStoreIsToldAndFollowed) {
    const std::filesystem::path folder = std::filesystem::path(Database()).parent_path() / "real";
    std::filesystem::create_directories(folder / "other");
    MoveFiles(Database(), folder / "vconf.db");
    std::filesystem::create_symlink(folder / "vconf.db", Database());
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    auto& list = VConfTest::Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    vconf::Store other(folder / "other" / "vconf.db", vconf::BootId());
    other.SetInt("db/a", 2);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // behind the look at the start
    std::filesystem::create_symlink(other.Paths().database, Database() + ".new");
    std::filesystem::rename(Database() + ".new", Database());
    EXPECT_TRUE(list.WaitForLast("db/a=2"));
    other.SetInt("db/a", 3);
    EXPECT_TRUE(list.WaitForLast("db/a=3"));
}

TEST_F(PutBackTest, OldContentInTheSameFileIsToldAndFollowed) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    Keep();
    auto& list = VConfTest::Keep<ChangeList>();
    for (int count = 0; count < 10; ++count) {
        ASSERT_EQ(vconf_set_int("db/b", count), 0);
    }
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(list.WaitForLast("db/a=2"));
    sqlite3* from = nullptr;
    sqlite3* to = nullptr;
    ASSERT_EQ(sqlite3_open(Copy().c_str(), &from), SQLITE_OK);
    ASSERT_EQ(sqlite3_open(Database().c_str(), &to), SQLITE_OK);
    sqlite3_backup* const backup = sqlite3_backup_init(to, "main", from, "main");
    ASSERT_NE(backup, nullptr);
    EXPECT_EQ(sqlite3_backup_step(backup, -1), SQLITE_DONE);
    sqlite3_backup_finish(backup);
    ASSERT_EQ(vconf_set_int("db/a", 3), 0); // behind the last number that it holds
    EXPECT_TRUE(list.WaitForLast("db/a=3"));
    ASSERT_EQ(vconf_set_int("db/a", 4), 0);
    EXPECT_TRUE(list.WaitForLast("db/a=4"));
    sqlite3_close(from);
    sqlite3_close(to);
}

} // namespace

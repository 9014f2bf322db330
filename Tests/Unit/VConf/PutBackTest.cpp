// SPDX-License-Identifier: Apache-2.0

// A store whose old content is put back while it is in use.

#include <filesystem>
#include <sqlite3.h>

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

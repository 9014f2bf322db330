// SPDX-License-Identifier: Apache-2.0

// Databases of others, and what others have done to ours.

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <random>
#include <sstream>

#include "Dlog.h"
#include "LogCapture.h"
#include "StoreFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using vconf::Store;
using vconf::StoreError;

using ForeignStoreTest = StoreTest;

TEST_F(ForeignStoreTest, AFileOfAnotherKindIsRefused) {
    std::ofstream(File()) << std::string(10000, 'x');
    EXPECT_EQ(WhyNotOpen(), "can't open " + File() + ": file is not a database");
    EXPECT_EQ(std::filesystem::file_size(File()), 10000U);
}

TEST_F(ForeignStoreTest, ADatabaseOfSomebodyElseIsRefusedAndLeftAlone) {
    Execute("CREATE TABLE keys(name, type, value, number)");
    EXPECT_EQ(WhyNotOpen(), "can't open " + File() + ": it is no configuration store");
    EXPECT_FALSE(std::filesystem::exists(File() + "-bell"));
    Execute("DROP TABLE keys"); // it is still theirs to use
}

TEST_F(ForeignStoreTest, AFormatOfTheFutureIsRefused) {
    Open().SetInt("db/a", 1);
    Execute("PRAGMA user_version = 2");
    EXPECT_EQ(WhyNotOpen(), "can't open " + File() + ": it has a format that isn't known here");
}

TEST_F(ForeignStoreTest, AnotherSetOfTablesIsRefused) {
    Open().SetInt("db/a", 1);
    Execute("DROP TABLE keys");
    EXPECT_THAT(WhyNotOpen(), StartsWith("can't open " + File() + ": no such table"));
    Execute("CREATE TABLE keys(name)");
    EXPECT_THAT(WhyNotOpen(), StartsWith("can't open " + File() + ": no such column"));
}

TEST_F(ForeignStoreTest, ViewsAndTriggersOfTheFileDontRun) {
    Open().SetInt("db/a", 1);
    Execute("CREATE TRIGGER t AFTER INSERT ON keys BEGIN DELETE FROM keys; END");
    {
        Store store = Open();
        store.SetInt("db/b", 1);
        EXPECT_EQ(store.List("").size(), 2U);
    }
    Execute("ALTER TABLE keys RENAME TO others;"
            "CREATE VIEW keys AS SELECT * FROM others");
    EXPECT_THAT(WhyNotOpen(), StartsWith("can't open " + File()));
}

TEST_F(ForeignStoreTest, ATruncatedFileIsRefusedOrFailsWithItsName) {
    {
        Store store = Open();
        for (int count = 0; count < 500; ++count) {
            store.SetString("db/" + std::to_string(count), std::string(500, 'x'));
        }
    }
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    const auto size = std::filesystem::file_size(File());
    ASSERT_GT(size, 200'000U);
    for (const std::uintmax_t left : {size / 2, std::uintmax_t{4096 * 3}, std::uintmax_t{100}}) {
        std::filesystem::resize_file(File(), left);
        try {
            Store store = Open();
            store.List("");
            ADD_FAILURE() << "nothing was missed of " << size - left << " bytes";
        } catch (const StoreError& error) {
            EXPECT_THAT(error.what(), HasSubstr(File() + ": "));
        }
    }
}

TEST_F(ForeignStoreTest, DamageOfAnyKindIsAFailureAtWorst) {
    {
        Store store = Open();
        for (int count = 0; count < 200; ++count) {
            store.SetString("db/" + std::to_string(count), std::string(200, 'x'));
        }
    }
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    std::ostringstream whole;
    whole << std::ifstream(File()).rdbuf();
    const std::string content = whole.str();
    std::minstd_rand random(1);
    int failures = 0;
    for (int round = 0; round < 150; ++round) {
        std::string damaged = content;
        for (int count = 0; count < 40; ++count) {
            damaged[100 + random() % (damaged.size() - 100)] = static_cast<char>(random());
        }
        for (const char* ending : {"-wal", "-shm"}) {
            std::filesystem::remove(File() + ending);
        }
        std::ofstream(File()) << damaged;
        try {
            Store store = Open();
            std::int64_t number = 0;
            ChangedSince(store, number);
            store.SetString("db/7", "new");
            store.Unset("db/8");
            store.List("");
        } catch (const StoreError& error) {
            EXPECT_STRNE(error.what(), "");
            ++failures;
        }
    }
    EXPECT_GT(failures, 0);
}

TEST_F(ForeignStoreTest, ARowThatSomebodyHasSpoiltFailsAndNoOther) {
    Store store = Open();
    for (const char* name :
         {"db/good", "db/type", "db/null", "db/range", "db/class", "db/blob", "db/low", "db/real",
          "db/text", "db/zero", "db/long", "db/typeclass"}) {
        store.SetInt(name, 1);
    }
    Execute("UPDATE keys SET type = 99 WHERE name = 'db/type';"
            "UPDATE keys SET value = NULL WHERE name = 'db/null';"
            "UPDATE keys SET value = 3000000000 WHERE name = 'db/range';"
            "UPDATE keys SET value = -3000000000 WHERE name = 'db/low';"
            "UPDATE keys SET value = 'x' WHERE name = 'db/class';"
            "UPDATE keys SET type = 40, value = x'4142' WHERE name = 'db/blob';"
            "UPDATE keys SET type = 42 WHERE name = 'db/real';"
            "UPDATE keys SET type = 40, value = CAST(x'ff' AS TEXT) WHERE name = 'db/text';"
            "UPDATE keys SET type = 40, value = CAST(x'410042' AS TEXT) WHERE name = 'db/zero';"
            "UPDATE keys SET type = 40, value = printf('%.*c', 1048577, 'x') "
            "    WHERE name = 'db/long';"
            "UPDATE keys SET type = 'x' WHERE name = 'db/typeclass';"
            "INSERT INTO keys(name, type, value) VALUES('/bad//name', 41, 1);"
            "INSERT INTO keys(name, type, value) VALUES(x'ff00', 41, 1);");
    for (const char* name : {"db/type", "db/null", "db/range", "db/low", "db/class", "db/blob",
                             "db/real", "db/text", "db/zero", "db/long", "db/typeclass"}) {
        EXPECT_EQ(WhyNot([&] { store.Get(name); }),
                  std::string(name) + " has a value in the database that isn't valid");
    }
    EXPECT_EQ(store.Get("db/good").integer, 1);
    EXPECT_THAT(Names(store.List("")), ElementsAre("db/good"));
    LogCapture::Clear();
    std::int64_t number = 0;
    ChangedSince(store, number);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "db/null has a value in the database that isn't valid"),
              1);
    store.SetInt("db/type", 2); // and can be mended
    EXPECT_EQ(store.Get("db/type").integer, 2);
}

TEST_F(ForeignStoreTest, AFolderInItsPlaceIsRefused) {
    std::filesystem::create_directory(File());
    EXPECT_THAT(WhyNotOpen(),
                StartsWith("can't open " + File() + ": unable to open database file"));
}

} // namespace

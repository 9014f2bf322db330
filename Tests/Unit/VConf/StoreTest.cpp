// SPDX-License-Identifier: Apache-2.0

// The store by itself: restarts of the machine, numbers, lists, and databases of others.

#include "Store.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <random>
#include <sstream>
#include <thread>

#include "Dlog.h"
#include "LogCapture.h"
#include "StoreError.h"
#include "TemporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using vconf::KeyError;
using vconf::OpenError;
using vconf::Store;
using vconf::StoredKey;
using vconf::StoreError;

class StoreTest : public testing::Test {
protected:
    std::string File() const { return (m_folder.Path() / "vconf.db").string(); }
    Store Open(const std::string& boot = "boot 1") const { return Store(File(), boot); }

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
        } catch (const OpenError& error) {
            return error.what();
        }
    }
    static std::string WhyNot(const std::function<void()>& work) {
        try {
            work();
            return "it has worked";
        } catch (const KeyError& error) {
            return error.what();
        }
    }

private:
    const TemporaryFolder m_folder;
};

std::vector<std::string> Names(const std::vector<StoredKey>& keys) {
    std::vector<std::string> names;
    for (const StoredKey& key : keys) {
        names.push_back(key.name);
    }
    return names;
}

std::vector<std::string> ChangedSince(Store& store, std::int64_t& number) {
    return Names(store.ChangesSince(number, [](std::string_view) { return true; }));
}

TEST_F(StoreTest, MemoryKeysEndWithTheMachinesRestart) {
    {
        Store store = Open("boot 1");
        store.SetInt("memory/a", 1);
        store.SetInt("db/a", 2);
        store.SetInt("memory2/a", 3);
        store.SetInt("db/gone", 4);
        store.Unset("db/gone");
    }
    {
        Store store = Open("boot 1"); // another process
        EXPECT_EQ(store.Get("memory/a").integer, 1);
    }
    Store store = Open("boot 2");
    EXPECT_EQ(WhyNot([&] { store.Get("memory/a"); }), "no key memory/a");
    EXPECT_THAT(Names(store.List("")), ElementsAre("db/a", "memory2/a"));
    store.SetInt("memory/a", 5);
    EXPECT_EQ(Open("boot 2").Get("memory/a").integer, 5);
}

TEST_F(StoreTest, MemoryKeysStayWhereNobodyKnowsOfRestarts) {
    Open("boot 1").SetInt("memory/a", 1);
    EXPECT_EQ(Open("").Get("memory/a").integer, 1);
    EXPECT_EQ(Open("boot 1").Get("memory/a").integer, 1);
}

TEST_F(StoreTest, RemovedKeysLeaveNothingBehindTheMachinesRestart) {
    {
        Store store = Open("boot 1");
        for (int count = 0; count < 10; ++count) {
            store.SetInt("db/" + std::to_string(count), 1);
            store.Unset("db/" + std::to_string(count));
        }
        std::int64_t number = 0;
        EXPECT_EQ(ChangedSince(store, number).size(), 11U); // with the row that has no name
    }
    Store store = Open("boot 2");
    std::int64_t number = 0;
    EXPECT_THAT(ChangedSince(store, number), ElementsAre(""));
}

TEST_F(StoreTest, NumbersGrowAndAreNeverUsedTwice) {
    std::int64_t last = 0;
    for (const char* boot : {"boot 1", "boot 2", "boot 3"}) {
        Store store = Open(boot);
        EXPECT_GE(store.LastNumber(), last);
        last = store.LastNumber();
        const auto mustGrow = [&] {
            EXPECT_GT(store.LastNumber(), last);
            last = store.LastNumber();
        };
        store.SetInt("memory/a", 1);
        mustGrow();
        store.SetInt("memory/a", 1);
        mustGrow();
        store.SetString("db/a", "x");
        mustGrow();
        store.Unset("db/a");
        mustGrow();
        store.SetInt("memory/b", 1);
        mustGrow();
    }
}

TEST_F(StoreTest, ChangesAreTheLastOfEachKeyInOrder) {
    Store store = Open();
    Store other = Open();
    std::int64_t number = store.LastNumber();
    store.SetInt("db/a", 1);
    other.SetInt("db/b", 1);
    store.SetInt("db/c", 1);
    other.Unset("db/a");
    const std::vector<StoredKey> changes =
        store.ChangesSince(number, [](std::string_view name) { return name != "db/c"; });
    EXPECT_THAT(Names(changes), ElementsAre("db/b", "db/a"));
    EXPECT_EQ(changes[1].value.type, VCONF_NONE);
    EXPECT_EQ(changes[1].number, number);
    EXPECT_EQ(number, store.LastNumber());
    EXPECT_THAT(ChangedSince(store, number), ElementsAre());
}

TEST_F(StoreTest, AListHasTypesAndValuesInTheOrderOfNames) {
    Store store = Open();
    store.SetBool("db/b/flag", 3);
    store.SetDouble("db/b/real", 0.5);
    store.SetString("db/a", "text");
    store.SetInt("db/b", -1);
    store.SetInt("db/\u00fc", 1);
    store.SetInt("db0", 1);
    store.SetInt("da", 1);
    store.SetInt("db/gone", 1);
    store.Unset("db/gone");
    const std::vector<StoredKey> keys = store.List("db/");
    EXPECT_THAT(Names(keys), ElementsAre("db/a", "db/b", "db/b/flag", "db/b/real", "db/\u00fc"));
    EXPECT_EQ(keys[0].value, (vconf::StoredValue{VCONF_STRING, 0, 0, "text"}));
    EXPECT_EQ(keys[1].value, (vconf::StoredValue{VCONF_INT, -1, 0, ""}));
    EXPECT_EQ(keys[2].value, (vconf::StoredValue{VCONF_BOOL, 3, 0, ""}));
    EXPECT_EQ(keys[3].value, (vconf::StoredValue{VCONF_DOUBLE, 0, 0.5, ""}));
    EXPECT_EQ(store.List("").size(), 7U);
    EXPECT_TRUE(store.List("x").empty());
}

TEST_F(StoreTest, TextsSayWhatIsWrongWithAKey) {
    Store store = Open();
    store.SetString("db/a", "x");
    EXPECT_EQ(WhyNot([&] { store.Get("db/a", VCONF_INT); }), "db/a is a string, not an integer");
    EXPECT_EQ(WhyNot([&] { store.Get("db/b"); }), "no key db/b");
    EXPECT_EQ(WhyNot([&] { store.SetInt("/", 1); }), "a malformed key");
    EXPECT_EQ(WhyNot([&] { store.SetString("db/a", std::string_view("a\0b", 3)); }),
              "the value of db/a is not UTF-8");
}

TEST_F(StoreTest, IsOutOfPlaceWhenAnyOfItsFilesIsReplaced) {
    for (const char* ending : {"", "-wal", "-shm", "-bell"}) {
        Store store = Open();
        store.SetInt("db/a", 1);
        EXPECT_TRUE(store.IsInPlace());
        std::filesystem::remove(File() + ending);
        EXPECT_FALSE(store.IsInPlace()) << ending;
        std::ofstream(File() + ending) << "x";
        EXPECT_FALSE(store.IsInPlace()) << ending;
        for (const char* each : {"", "-wal", "-shm", "-bell"}) {
            std::filesystem::remove(File() + each);
        }
    }
}

TEST_F(StoreTest, IsFoundThroughASymbolicLink) {
    const std::string link = File() + ".link";
    std::filesystem::create_symlink(File(), link);
    Store store(link, "boot 1");
    store.SetInt("db/a", 1);
    EXPECT_TRUE(store.IsInPlace());
    EXPECT_EQ(store.Paths().database, File());
    EXPECT_EQ(Open().Get("db/a").integer, 1);
}

TEST_F(StoreTest, CanBeMadeByManyAtOnce) {
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int number = 0; number < 16; ++number) {
        threads.emplace_back([&, number] {
            try {
                Open().SetInt("db/" + std::to_string(number), number);
            } catch (const StoreError& error) {
                ADD_FAILURE() << error.what();
                ++failures;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(Open().List("").size(), 16U);
}

TEST_F(StoreTest, AnEmptyFileBecomesOne) {
    std::ofstream(File()).flush();
    Open().SetInt("db/a", 1);
    EXPECT_EQ(Open().Get("db/a").integer, 1);
}

TEST_F(StoreTest, AFileOfAnotherKindIsRefused) {
    std::ofstream(File()) << std::string(10000, 'x');
    EXPECT_EQ(WhyNotOpen(), "can't open " + File() + ": file is not a database");
    EXPECT_EQ(std::filesystem::file_size(File()), 10000U);
}

TEST_F(StoreTest, ADatabaseOfSomebodyElseIsRefusedAndLeftAlone) {
    Execute("CREATE TABLE keys(name, type, value, number)");
    EXPECT_EQ(WhyNotOpen(), "can't open " + File() + ": it is no configuration store");
    EXPECT_FALSE(std::filesystem::exists(File() + "-bell"));
    Execute("DROP TABLE keys"); // it is still theirs to use
}

TEST_F(StoreTest, AFormatOfTheFutureIsRefused) {
    Open().SetInt("db/a", 1);
    Execute("PRAGMA user_version = 2");
    EXPECT_EQ(WhyNotOpen(), "can't open " + File() + ": it has a format that isn't known here");
}

TEST_F(StoreTest, AnotherSetOfTablesIsRefused) {
    Open().SetInt("db/a", 1);
    Execute("DROP TABLE keys");
    EXPECT_THAT(WhyNotOpen(), StartsWith("can't open " + File() + ": no such table"));
    Execute("CREATE TABLE keys(name)");
    EXPECT_THAT(WhyNotOpen(), StartsWith("can't open " + File() + ": no such column"));
}

TEST_F(StoreTest, ViewsAndTriggersOfTheFileDontRun) {
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

TEST_F(StoreTest, ATruncatedFileIsRefusedOrFailsWithItsName) {
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

TEST_F(StoreTest, DamageOfAnyKindIsAFailureAtWorst) {
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

TEST_F(StoreTest, ARowThatSomebodyHasSpoiltFailsAndNoOther) {
    Store store = Open();
    for (const char* name : {"db/good", "db/type", "db/null", "db/range", "db/class", "db/blob",
                             "db/real", "db/text", "db/zero", "db/long", "db/typeclass"}) {
        store.SetInt(name, 1);
    }
    Execute("UPDATE keys SET type = 99 WHERE name = 'db/type';"
            "UPDATE keys SET value = NULL WHERE name = 'db/null';"
            "UPDATE keys SET value = 3000000000 WHERE name = 'db/range';"
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
    for (const char* name : {"db/type", "db/null", "db/range", "db/class", "db/blob", "db/real",
                             "db/text", "db/zero", "db/long", "db/typeclass"}) {
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

TEST_F(StoreTest, AFolderInItsPlaceIsRefused) {
    std::filesystem::create_directory(File());
    EXPECT_THAT(WhyNotOpen(),
                StartsWith("can't open " + File() + ": unable to open database file"));
}

} // namespace

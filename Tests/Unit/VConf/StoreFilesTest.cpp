// SPDX-License-Identifier: Apache-2.0

// The files of a store: who makes them, their rights, and how the log stays short.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "FileCalls.h"
#include "StoreFixture.h"

namespace {

using testing::HasSubstr;
using vconf::Store;
using vconf::StoreError;

using StoreFilesTest = StoreTest;

TEST_F(StoreFilesTest, HasAnotherIdWhenACopyOfItIsPutBack) {
    std::string id;
    {
        Store store = Open();
        store.SetInt("db/a", 1);
        id = store.Id();
        EXPECT_EQ(Open().Id(), id);
    }
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    std::filesystem::copy_file(File(), File() + ".copy");
    std::filesystem::rename(File() + ".copy", File());
    EXPECT_NE(Open().Id(), id);
}

TEST_F(StoreFilesTest, ASetBehindASyncDoesntWaitForTheDisk) {
    Store store = Open();
    store.Sync();
    filecalls::Clear();
    store.SetInt("db/a", 1);
    const std::vector<filecalls::Call> calls = filecalls::On("-wal");
    EXPECT_FALSE(calls.empty());
    EXPECT_EQ(std::count(calls.begin(), calls.end(), filecalls::Call::Sync), 0);
}

TEST_F(StoreFilesTest, ASyncThatWritesNothingIsAFailure) {
    Store store = Open();
    store.Sync();
    Execute("DELETE FROM meta WHERE name = 'syncs'");
    EXPECT_THROW(store.Sync(), StoreError);
}

TEST_F(StoreFilesTest, ASetBehindASyncThatFailedDoesntWaitForTheDiskEither) {
    Store store = Open();
    store.Sync();
    Execute("DELETE FROM meta WHERE name = 'syncs'");
    EXPECT_THROW(store.Sync(), StoreError);
    filecalls::Clear();
    store.SetInt("db/a", 1);
    const std::vector<filecalls::Call> calls = filecalls::On("-wal");
    EXPECT_FALSE(calls.empty());
    EXPECT_EQ(std::count(calls.begin(), calls.end(), filecalls::Call::Sync), 0);
}

TEST_F(StoreFilesTest, ItsFilesStayBehindTheLastWhoHadItOpen) {
    Open().SetInt("db/a", 1);
    for (const char* ending : {"", "-wal", "-shm", "-bell"}) {
        EXPECT_TRUE(std::filesystem::exists(File() + ending)) << ending;
    }
}

TEST_F(StoreFilesTest, ASetWaitsForWhoeverHasTheDatabaseLockedAfterACopyOfTheLogToo) {
    Store store = Open();
    const std::string text(30'000, 'x');
    filecalls::Clear();
    while (filecalls::On("vconf.db").empty()) {
        store.SetString("db/text", text);
    }
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(File().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    std::thread ending([&] { // later than a reader is waited for when the log is copied
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr);
    });
    EXPECT_NO_THROW(store.SetInt("db/a", 1));
    ending.join();
    sqlite3_close(other);
}

TEST_F(StoreFilesTest, TheLogBeginsAnewThoughThereIsAlwaysAReader) {
    Store store = Open();
    std::array<sqlite3*, 2> readers{};
    for (sqlite3*& reader : readers) {
        ASSERT_EQ(sqlite3_open(File().c_str(), &reader), SQLITE_OK);
    }
    constexpr const char* READ = "BEGIN; SELECT count(*) FROM keys";
    const std::string text(60'000, 'x');
    ASSERT_EQ(sqlite3_exec(readers[0], READ, nullptr, nullptr, nullptr), SQLITE_OK);
    std::atomic<bool> isEnough{false};
    std::thread reading([&] { // the next begins before the last has ended
        for (std::size_t turn = 1; !isEnough; ++turn) {
            sqlite3_exec(readers[turn % 2], READ, nullptr, nullptr, nullptr);
            sqlite3_exec(readers[(turn + 1) % 2], "COMMIT", nullptr, nullptr, nullptr);
            std::this_thread::sleep_for(std::chrono::milliseconds(2)); // an overlap, no wait
        }
    });
    for (int count = 0; count < 1500; ++count) { // 90 MB
        store.SetString("db/text", text);
    }
    isEnough = true;
    reading.join();
    for (sqlite3* reader : readers) {
        sqlite3_close(reader);
    }
    EXPECT_LT(std::filesystem::file_size(File() + "-wal"), 60'000'000U);
    for (int count = 0; count < 200; ++count) { // with nobody in its way it gets short again
        store.SetString("db/text", text);
    }
    EXPECT_LT(std::filesystem::file_size(File() + "-wal"), 6'000'000U);
}

TEST_F(StoreFilesTest, TheBellHasTheRightsAndTheOwnerOfTheDatabase) {
    Open();
    const std::string bell = File() + "-bell";
    for (const mode_t rights : {0640U, 0666U, 0600U}) {
        chmod(File().c_str(), rights);
        if (geteuid() == 0) { // or it is the owner in any case
            EXPECT_EQ(chown(File().c_str(), 12, 34), 0);
        }
        std::filesystem::remove(bell);
        Open();
        struct stat database {};
        struct stat made {};
        ASSERT_EQ(stat(File().c_str(), &database), 0);
        ASSERT_EQ(stat(bell.c_str(), &made), 0);
        EXPECT_EQ(made.st_mode & 0777U, rights);
        EXPECT_EQ(made.st_uid, database.st_uid);
        EXPECT_EQ(made.st_gid, database.st_gid);
    }
}

TEST_F(StoreFilesTest, ABellThatPointsElsewhereIsRefused) {
    Open();
    std::filesystem::remove(File() + "-bell");
    std::ofstream(File() + ".victim").flush();
    std::filesystem::create_symlink(File() + ".victim", File() + "-bell");
    EXPECT_THAT(WhyNotOpen(), HasSubstr(File() + "-bell: "));
    EXPECT_EQ(std::filesystem::file_size(File() + ".victim"), 0U);
}

TEST_F(StoreFilesTest, IsOutOfPlaceWhenAnyOfItsFilesIsReplaced) {
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

TEST_F(StoreFilesTest, IsFoundThroughASymbolicLink) {
    const std::string link = File() + ".link";
    std::filesystem::create_symlink(File(), link);
    Store store(link, "boot 1");
    store.SetInt("db/a", 1);
    EXPECT_TRUE(store.IsInPlace());
    EXPECT_EQ(store.Paths().database, File());
    EXPECT_EQ(Open().Get("db/a").integer, 1);
}

TEST_F(StoreFilesTest, IsNotInPlaceWhereItsLinkLeadsToAnother) {
    const std::string link = File() + ".link";
    std::filesystem::create_symlink(File(), link);
    Store store(link, "boot 1");
    const Store other(File() + ".other", "boot 1");
    std::filesystem::remove(link);
    EXPECT_FALSE(store.IsInPlace()) << "it leads nowhere";
    std::filesystem::create_symlink(File() + ".other", link);
    EXPECT_FALSE(store.IsInPlace());
    std::filesystem::remove(link);
    std::filesystem::create_symlink(File(), link);
    EXPECT_TRUE(store.IsInPlace());
}

TEST_F(StoreFilesTest, CanBeMadeByManyAtOnce) {
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

TEST_F(StoreFilesTest, AnEmptyFileBecomesOne) {
    std::ofstream(File()).flush();
    Open().SetInt("db/a", 1);
    EXPECT_EQ(Open().Get("db/a").integer, 1);
}

} // namespace

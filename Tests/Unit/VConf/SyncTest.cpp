// SPDX-License-Identifier: Apache-2.0

// When something goes to the disk.

#include <algorithm>
#include <cerrno>
#include <sqlite3.h>

#include "Dlog.h"
#include "FileCalls.h"
#include "StorePeer.h"
#include "VConfFixture.h"
#include "WaitUntil.h"

namespace {

using filecalls::Call;

using SyncTest = VConfTest;

TEST_F(SyncTest, ASetAloneDoesntWaitForTheDisk) {
    filecalls::Clear();
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    const std::vector<Call> calls = filecalls::On("vconf.db-wal");
    EXPECT_GE(std::count(calls.begin(), calls.end(), Call::Write), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), Call::Sync), 0);
    EXPECT_TRUE(filecalls::On("vconf.db").empty());
}

TEST_F(SyncTest, ReturnsWhenTheLogIsOnTheDisk) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    filecalls::Clear();
    ASSERT_EQ(vconf_sync_key("db/a"), 0);
    const std::vector<Call> calls = filecalls::On("vconf.db-wal");
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back(), Call::Sync);
}

TEST_F(SyncTest, DoesSoForWhatAnotherProcessHasSet) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("set_int db/a 1"), "0");
    filecalls::Clear();
    ASSERT_EQ(vconf_sync_key("db/a"), 0);
    ASSERT_FALSE(filecalls::On("vconf.db-wal").empty());
    EXPECT_EQ(filecalls::On("vconf.db-wal").back(), Call::Sync);
}

TEST_F(SyncTest, DoesSoWhileAReaderIsInTheMiddleOfTheLog) {
    sqlite3* reader = nullptr;
    ASSERT_EQ(sqlite3_open(Database().c_str(), &reader), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT * FROM keys", nullptr, nullptr, nullptr),
              SQLITE_OK);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    filecalls::Clear();
    EXPECT_EQ(vconf_sync_key("db/a"), 0);
    ASSERT_FALSE(filecalls::On("vconf.db-wal").empty());
    EXPECT_EQ(filecalls::On("vconf.db-wal").back(), Call::Sync);
    sqlite3_close(reader);
}

TEST_F(SyncTest, TheNextSetDoesntWaitForTheDiskEither) {
    ASSERT_EQ(vconf_sync_key("db/a"), 0);
    filecalls::Clear();
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    const std::vector<Call> calls = filecalls::On("vconf.db-wal");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), Call::Sync), 0);
}

TEST_F(SyncTest, TheLogDoesntGrowWhereThatIsAllThatIsDone) {
    filecalls::Clear();
    EXPECT_TRUE(WaitUntil([] {
        for (int count = 0; count < 100; ++count) {
            vconf_sync_key("db/a");
        }
        return !filecalls::On("vconf.db").empty();
    }));
    EXPECT_LT(std::filesystem::file_size(Database() + "-wal"), 6'000'000U);
}

TEST_F(SyncTest, TakesAKeyThatDoesntExist) {
    EXPECT_EQ(vconf_sync_key("db/none"), 0);
}

TEST_F(SyncTest, ADiskThatFailsIsAFailure) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    filecalls::Clear();
    filecalls::Fail(Call::Sync, "-wal", EIO);
    EXPECT_EQ(vconf_sync_key("db/a"), -1);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR,
                                         "vconf_sync_key: " + Database() + ": disk I/O error"),
              1);
    filecalls::Clear();
    EXPECT_EQ(vconf_sync_key("db/a"), 0);
    int value = 0;
    EXPECT_EQ(vconf_get_int("db/a", &value), 0);
    EXPECT_EQ(value, 1);
}

TEST_F(SyncTest, TheLogIsCopiedToTheDatabaseAndBeginsAnew) {
    const std::string text(3000, 'x');
    filecalls::Clear();
    for (int count = 0; count < 3000; ++count) { // of two or three pages each
        ASSERT_EQ(vconf_set_str("db/text", text.c_str()), 0);
    }
    EXPECT_LT(std::filesystem::file_size(Database() + "-wal"), 6'000'000U);
    const std::vector<Call> calls = filecalls::On("vconf.db");
    EXPECT_GE(std::count(calls.begin(), calls.end(), Call::Write), 1);
    EXPECT_GE(std::count(calls.begin(), calls.end(), Call::Sync), 1);
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// Disks and rights that aren't as they should be.

#include <cerrno>
#include <fstream>
#include <sqlite3.h>
#include <sys/stat.h>

#include "Dlog.h"
#include "FileCalls.h"
#include "Store.h"
#include "StoreDefaults.h"
#include "StorePeer.h"
#include "VConfFixture.h"
#include "WaitUntil.h"

namespace {

using filecalls::Call;

using TroubleTest = VConfTest;

int GetInt(const char* key) {
    int value = -99;
    return vconf_get_int(key, &value) == 0 ? value : -1;
}

int CountErrors(const std::string& beginning) {
    return LogCapture::CountBeginning(DLOG_ERROR, beginning);
}

TEST_F(TroubleTest, AStoreThatCantBeOpenedIsToldOnceAndWorksLater) {
    RemoveFiles();
    std::ofstream(Database()) << std::string(5000, 'x');
    EXPECT_EQ(vconf_set_int("db/a", 1), -1);
    EXPECT_EQ(GetInt("db/a"), -1);
    EXPECT_EQ(vconf_set_int("db/a", 1), -1);
    EXPECT_EQ(vconf_sync_key("db/a"), -1);
    EXPECT_EQ(CountErrors("can't open " + Database() + ": file is not a database"), 1);
    RemoveFiles();
    std::filesystem::create_directory(Database()); // another reason
    EXPECT_EQ(vconf_set_int("db/a", 1), -1);
    EXPECT_EQ(vconf_set_int("db/a", 1), -1);
    EXPECT_EQ(CountErrors("can't open " + Database() + ": unable to open database file"), 1);
    std::filesystem::remove(Database());
    EXPECT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_EQ(GetInt("db/a"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, Database() + " can be opened again"), 1);
}

TEST_F(TroubleTest, CallbacksGoOnWhenAStoreThatCouldntBeOpenedIsBack) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    // The callbacks' thread may make a new store between the two.
    ASSERT_TRUE(WaitUntil([] {
        SpoilFiles();
        return vconf_set_int("db/c", 1) == -1;
    }));
    EXPECT_EQ(vconf_notify_key_changed("db/b", ChangeList::Add, &list), -1);
    RemoveFiles();
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_TRUE(list.WaitForLast("db/a=1"));
}

TEST_F(TroubleTest, CallbacksGoOnWhereTheirOwnThreadHasMetAStoreThatCantBeOpened) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_TRUE(WaitUntil([] {
        SpoilFiles();
        return CountErrors("can't open " + Database()) > 0;
    }));
    RemoveFiles();
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_TRUE(list.WaitForLast("db/a=1"));
    EXPECT_EQ(CountErrors("changes can't be read: "), 0) << "it has been told already";
}

TEST_F(TroubleTest, ChangesThatCantBeReadAreToldOnceEachTimeAndCallbacksGoOnLater) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    for (int round = 1; round <= 2; ++round) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(Database().c_str(), &database), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(database, "DROP TABLE keys", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
        // Opening it fails from then on, which has words of its own.
        ASSERT_TRUE(
            WaitUntil([round] { return CountErrors("can't open " + Database()) >= round; }));
        EXPECT_EQ(CountErrors("changes can't be read: "), round);
        RemoveFiles();
        ASSERT_EQ(vconf_set_int("db/a", round), 0);
        EXPECT_TRUE(list.WaitForLast("db/a=" + std::to_string(round)));
    }
}

TEST_F(TroubleTest, AFolderThatIsMissingIsMade) {
    std::filesystem::remove_all(Folder());
    EXPECT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_TRUE(std::filesystem::exists(Database()));
}

TEST_F(TroubleTest, AFullDiskIsAFailureAndWhatWasThereStays) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    filecalls::Fail(Call::Write, "-wal", ENOSPC);
    EXPECT_EQ(vconf_set_int("db/a", 2), -1);
    EXPECT_EQ(vconf_unset("db/a"), -1);
    EXPECT_EQ(vconf_sync_key("db/a"), -1);
    EXPECT_EQ(CountErrors("vconf_set_int: " + Database() + ": database or disk is full"), 1);
    EXPECT_EQ(CountErrors("vconf_unset: " + Database() + ": database or disk is full"), 1);
    EXPECT_EQ(CountErrors("vconf_sync_key: " + Database() + ": database or disk is full"), 1);
    EXPECT_EQ(GetInt("db/a"), 1);
    filecalls::Clear();
    EXPECT_EQ(vconf_set_int("db/a", 3), 0);
    EXPECT_EQ(GetInt("db/a"), 3);
}

TEST_F(TroubleTest, AFileThatMayNotGrowIsAFailureToo) {
    StorePeer peer;
    ASSERT_EQ(peer.Ask("set_int db/a 1"), "0");
    ASSERT_EQ(peer.Ask("limit_file_size " +
                       std::to_string(std::filesystem::file_size(Database() + "-wal"))),
              "0");
    EXPECT_EQ(peer.Ask("set_int db/a 2"), "-1");
    EXPECT_EQ(peer.Ask("get_int db/a"), "1");
    EXPECT_EQ(vconf_set_int("db/a", 3), 0);
    EXPECT_EQ(peer.Ask("get_int db/a"), "3");
}

TEST_F(TroubleTest, ABellThatCantBeRungMakesNoFailureAndTheChangeIsHeard) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    filecalls::Fail(Call::Write, "-bell", ENOSPC);
    EXPECT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_TRUE(list.WaitForLast("db/a=1"));
    filecalls::Clear();
}

// Another user, where this one may do everything.
class ReaderTest : public VConfTest {
protected:
    ReaderTest() {
        EXPECT_EQ(vconf_set_int("db/a", 1), 0);
        Forbid();
    }
    ~ReaderTest() override { Permit(); }

    static void Forbid() { Change(0555, 0444); }
    static void Permit() { Change(0755, 0644); }
    static void Change(mode_t folder, mode_t files) {
        chmod(Folder().c_str(), folder);
        for (const char* ending : {"", "-wal", "-shm", "-bell"}) {
            chmod((Database() + ending).c_str(), files);
        }
    }
    static void Execute(const char* sql) {
        Permit();
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(Database().c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
        Forbid();
    }
    static void Restrict(StorePeer& peer) {
        const std::string answer = peer.Ask("become_nobody");
        EXPECT_TRUE(answer == "0" || geteuid() != 0); // another than root has no more rights
    }
};

TEST_F(ReaderTest, WhoMayOnlyReadReads) {
    StorePeer peer;
    Restrict(peer);
    EXPECT_EQ(peer.Ask("get_int db/a"), "1");
    EXPECT_EQ(vconf_set_int("db/a", 2), 0);
    EXPECT_EQ(peer.Ask("get_int db/a"), "2");
    EXPECT_EQ(peer.Ask("set_int db/a 3"), "-1");
    EXPECT_EQ(peer.Ask("unset db/a"), "-1");
    EXPECT_EQ(peer.Ask("sync db/a"), "-1");
    EXPECT_EQ(peer.Ask("get_int db/a"), "2");
}

TEST_F(ReaderTest, WhoMayOnlyReadSeesNoMemoryKeysOfAnEarlierStartOfTheMachine) {
    ASSERT_EQ(vconf_set_int("memory/a", 1), 0);
    Execute("UPDATE meta SET value = 'an earlier one' WHERE name = 'boot'");
    StorePeer peer;
    Restrict(peer);
    EXPECT_EQ(peer.Ask("get_int memory/a"), "-1");
    EXPECT_EQ(peer.Ask("get_int db/a"), "1");
    EXPECT_EQ(peer.Ask("list"), "db/a test/none ");
    Permit();
    vconf::Store(Database(), vconf::BootId()); // somebody who may write comes after all
    ASSERT_EQ(vconf_set_int("memory/a", 2), 0);
    EXPECT_EQ(peer.Ask("list"), "db/a memory/a test/none ");
    EXPECT_EQ(peer.Ask("get_int memory/a"), "2");
}

TEST_F(ReaderTest, WhoMayOnlyReadReadsWhereThereIsNoLogYet) {
    Permit();
    RemoveFiles();
    {
        vconf::Store store(Database(), vconf::BootId());
        store.SetInt("db/a", 1);
    }
    Execute("PRAGMA journal_mode = DELETE");
    EXPECT_FALSE(std::filesystem::exists(Database() + "-wal"));
    Forbid();
    StorePeer peer;
    Restrict(peer);
    EXPECT_EQ(peer.Ask("get_int db/a"), "1");
    Permit();
    EXPECT_EQ(vconf_set_int("db/a", 2), 0); // makes one
    EXPECT_TRUE(std::filesystem::exists(Database() + "-wal"));
    EXPECT_EQ(peer.Ask("get_int db/a"), "2");
}

TEST_F(ReaderTest, WhoMayOnlyReadIsToldOfChanges) {
    StorePeer peer;
    Restrict(peer);
    ASSERT_EQ(peer.Ask("exit_in_callback db/a"), "0");
    EXPECT_EQ(vconf_set_int("db/a", 2), 0);
    EXPECT_EQ(peer.Answer(), ""); // it has gone
    EXPECT_EQ(peer.End(), 7);
}

TEST_F(ReaderTest, WhoMayNotReadFails) {
    chmod(Database().c_str(), 0);
    StorePeer peer;
    Restrict(peer);
    EXPECT_EQ(peer.Ask("get_int db/a"), "-1");
    EXPECT_EQ(peer.Ask("set_int db/a 3"), "-1");
    chmod(Database().c_str(), 0444); // and does as soon as it may
    EXPECT_EQ(peer.Ask("get_int db/a"), "1");
}

} // namespace

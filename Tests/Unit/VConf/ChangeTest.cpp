// SPDX-License-Identifier: Apache-2.0

// What callbacks are told.

#include <chrono>
#include <csignal>
#include <fstream>
#include <sqlite3.h>
#include <thread>

#include "CountThreads.h"
#include "Dlog.h"
#include "FileCalls.h"
#include "StorePeer.h"
#include "VConfFixture.h"
#include "WaitUntil.h"

namespace {

using testing::ElementsAre;

using ChangeTest = VConfTest;

TEST_F(ChangeTest, ASetTellsTheKeyItsTypeAndItsValue) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_set_int("db/a", -5), 0);
    ASSERT_TRUE(list.WaitFor(1));
    ASSERT_EQ(vconf_set_bool("db/a", 7), 0);
    ASSERT_TRUE(list.WaitFor(2));
    ASSERT_EQ(vconf_set_dbl("db/a", 0.25), 0);
    ASSERT_TRUE(list.WaitFor(3));
    ASSERT_EQ(vconf_set_str("db/a", "text"), 0);
    ASSERT_TRUE(list.WaitFor(4));
    const std::vector<SeenChange> changes = list.Changes();
    ASSERT_EQ(changes.size(), 4U);
    for (const SeenChange& change : changes) {
        EXPECT_EQ(change.name, "db/a");
    }
    EXPECT_EQ(changes[0].type, VCONF_INT);
    EXPECT_EQ(changes[0].integer, -5);
    EXPECT_EQ(changes[1].type, VCONF_BOOL);
    EXPECT_EQ(changes[1].boolean, 7);
    EXPECT_EQ(changes[2].type, VCONF_DOUBLE);
    EXPECT_EQ(changes[2].real, 0.25);
    EXPECT_EQ(changes[3].type, VCONF_STRING);
    EXPECT_EQ(changes[3].text, "text");
}

TEST_F(ChangeTest, TheValueOfAnotherTypeIsNothing) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(1));
    ASSERT_EQ(vconf_set_bool("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(2));
    ASSERT_EQ(vconf_set_dbl("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(3));
    ASSERT_EQ(vconf_set_str("db/a", "1"), 0);
    ASSERT_TRUE(list.WaitFor(4));
    for (const SeenChange& change : list.Changes()) {
        EXPECT_EQ(change.integer, change.type == VCONF_INT ? 1 : 0);
        EXPECT_EQ(change.boolean, change.type == VCONF_BOOL ? 1 : 0);
        EXPECT_EQ(change.real, change.type == VCONF_DOUBLE ? 1.0 : 0.0);
        EXPECT_EQ(change.text, change.type == VCONF_STRING ? "1" : "");
    }
}

TEST_F(ChangeTest, AnEqualValueIsTold) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    for (std::size_t count = 1; count <= 3; ++count) {
        ASSERT_EQ(vconf_set_int("db/a", 1), 0);
        ASSERT_TRUE(list.WaitFor(count));
    }
}

TEST_F(ChangeTest, ARemovalIsToldWithoutAType) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_unset("db/a"), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_EQ(list.Changes()[0].type, VCONF_NONE);
    EXPECT_EQ(list.Changes()[0].integer, 0);
    EXPECT_EQ(vconf_unset("db/a"), -1); // no change
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(list.WaitFor(2));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=-", "db/a=2"));
}

TEST_F(ChangeTest, WhatWasSetBeforeIsntTold) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_EQ(vconf_set_int("db/b", 1), 0);
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_set_int("db/b", 2), 0);
    ASSERT_EQ(Watch("db/b", list), 0);
    ASSERT_EQ(vconf_set_int("db/b", 3), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_THAT(list.Texts(), ElementsAre("db/b=3"));
}

TEST_F(ChangeTest, OtherKeysArentTold) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    for (const char* key : {"db", "db/a/b", "db/A", "db/aa"}) {
        ASSERT_EQ(vconf_set_int(key, 1), 0);
    }
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=2"));
}

TEST_F(ChangeTest, AnotherProcessIsHeard) {
    StorePeer peer;
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(peer.Ask("set_int db/a 1"), "0");
    ASSERT_TRUE(list.WaitFor(1));
    ASSERT_EQ(peer.Ask("unset db/a"), "0");
    ASSERT_TRUE(list.WaitFor(2));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=1", "db/a=-"));
}

TEST_F(ChangeTest, ChangesComeInOrderOverAllKeysAndProcesses) {
    StorePeer peer;
    StorePeer other;
    auto& list = Keep<ChangeList>();
    std::vector<std::string> expected;
    for (const char* key : {"db/a", "db/b", "memory/c"}) {
        ASSERT_EQ(Watch(key, list), 0);
    }
    for (int value = 0; value < 30; ++value) {
        const std::string number = std::to_string(value);
        ASSERT_EQ(vconf_set_int("db/b", value), 0);
        ASSERT_EQ(peer.Ask("set_int db/a " + number), "0");
        ASSERT_EQ(other.Ask("set_int memory/c " + number), "0");
        expected.insert(expected.end(), {"db/b=" + number, "db/a=" + number, "memory/c=" + number});
        ASSERT_TRUE(list.WaitFor(expected.size())); // or some would be told once
    }
    EXPECT_EQ(list.Texts(), expected);
}

// Holds up the thread of the callbacks.
struct Holder {
    std::mutex mutex;
    std::atomic<bool> isIn{false};

    static void Hold(struct _keynode_t* /*node*/, void* user) {
        auto& holder = *static_cast<Holder*>(user);
        holder.isIn = true;
        const std::scoped_lock lock(holder.mutex);
    }
};

TEST_F(ChangeTest, AKeyThatIsChangedAgainMeanwhileIsToldOnceWithItsLastValue) {
    auto& holder = Keep<Holder>();
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(Watch("db/b", list), 0);
    ASSERT_EQ(Watch("db/c", list), 0);
    ASSERT_EQ(Notify("db/hold", Holder::Hold, &holder), 0);
    {
        const std::scoped_lock lock(holder.mutex);
        ASSERT_EQ(vconf_set_int("db/hold", 1), 0);
        ASSERT_TRUE(WaitUntil([&] { return holder.isIn.load(); }));
        ASSERT_EQ(vconf_set_int("db/a", 1), 0);
        ASSERT_EQ(vconf_set_int("db/c", 1), 0);
        ASSERT_EQ(vconf_set_int("db/b", 1), 0);
        ASSERT_EQ(vconf_set_int("db/a", 2), 0);
        ASSERT_EQ(vconf_unset("db/c"), 0);
        ASSERT_EQ(vconf_set_str("db/a", "last"), 0);
    }
    ASSERT_TRUE(list.WaitForLast("db/a=last"));
    EXPECT_THAT(list.Texts(), ElementsAre("db/b=1", "db/c=-", "db/a=last"));
}

TEST_F(ChangeTest, AWriterThatDiesAheadOfTheBellIsHeard) {
    StorePeer peer;
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(peer.Ask("set_int db/a 1"), "0");
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(peer.Ask("die_at_write -bell"), "0");
    EXPECT_EQ(peer.Ask("set_int db/a 2"), "");
    EXPECT_EQ(peer.End(), 128 + SIGKILL);
    ASSERT_TRUE(list.WaitFor(1));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=2"));
}

TEST_F(ChangeTest, AWriterThatKnowsNothingOfTheBellIsHeard) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(Database().c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database,
                           "UPDATE keys SET value = 8, number = (SELECT max(number) + 1 FROM keys)"
                           " WHERE name = 'db/a'",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_TRUE(list.WaitFor(1));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=8"));
    sqlite3_close(database);
}

TEST_F(ChangeTest, SyncTellsNobody) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(1));
    ASSERT_EQ(vconf_sync_key("db/a"), 0);
    ASSERT_EQ(vconf_set_int("db/a", 2), 0);
    ASSERT_TRUE(list.WaitForLast("db/a=2"));
    EXPECT_THAT(list.Texts(), ElementsAre("db/a=1", "db/a=2"));
}

TEST_F(ChangeTest, TheThreadBearsAName) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    EXPECT_EQ(CountThreads("vconf-watch"), 1);
    ASSERT_EQ(Watch("db/b", list), 0);
    EXPECT_EQ(CountThreads("vconf-watch"), 1);
}

TEST_F(ChangeTest, ADatabaseThatIsMadeAnewIsFollowed) {
    StorePeer peer;
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(peer.Ask("set_int db/a 1"), "0");
    ASSERT_EQ(Watch("db/a", list), 0);
    RemoveFiles();
    ASSERT_EQ(peer.Ask("set_int db/a 2"), "0"); // which makes new files
    ASSERT_TRUE(list.WaitForLast("db/a=2"));
    ASSERT_EQ(vconf_set_int("db/a", 3), 0);
    ASSERT_TRUE(list.WaitForLast("db/a=3"));
    EXPECT_EQ(peer.Ask("get_int db/a"), "3");
    EXPECT_GE(
        LogCapture::Count(DLOG_WARN, Database() + " has been removed or replaced; opening it anew"),
        1);
}

TEST_F(ChangeTest, TheBellIsRungForEachChangeAndDoesntGrow) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    filecalls::Clear();
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    EXPECT_EQ(filecalls::On("-bell").size(), 1U);
    ASSERT_EQ(vconf_unset("db/a"), 0);
    EXPECT_EQ(filecalls::On("-bell").size(), 2U);
    EXPECT_EQ(std::filesystem::file_size(Database() + "-bell"), 1U);
}

TEST_F(ChangeTest, ABellAloneIsHeard) { // without which each change would come a little later
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(vconf_set_int("db/a", 0), 0);
    ASSERT_EQ(Watch("db/a", list), 0);
    std::size_t quick = 0;
    for (std::size_t count = 1; count <= 50; ++count) {
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_EQ(vconf_set_int("db/a", 1), 0);
        ASSERT_TRUE(list.WaitFor(count));
        quick += std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(10) ? 1 : 0;
    }
    EXPECT_GE(quick, 5U); // the look at the files would take 20 ms each time
}

TEST_F(ChangeTest, TheThreadRestsWhileNothingIsWatched) {
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    ASSERT_TRUE(list.WaitFor(1));
    ASSERT_EQ(vconf_ignore_key_changed("db/a", ChangeList::Add), 0);
    ASSERT_EQ(vconf_set_int("db/b", 1), 0); // the last that it hears of
    const auto waits = [] {
        long count = 0;
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
            std::ifstream file(thread.path() / "status");
            std::string line;
            bool isIt = false;
            while (std::getline(file, line)) {
                isIt = isIt || line == "Name:\tvconf-watch";
                if (isIt && line.find("ctxt_switches:") != std::string::npos) {
                    count += std::stol(line.substr(line.find(':') + 1));
                }
            }
        }
        return count;
    };
    // Within one of two rounds it has come to rest.
    EXPECT_TRUE(WaitUntil([&] {
        const long before = waits();
        for (int count = 0; count < 3000; ++count) { // long enough for it to be seen
            vconf_set_int("db/b", count);
        }
        return before > 0 && waits() - before < 3;
    }));
    ASSERT_EQ(Watch("db/a", list), 0);
}

TEST_F(ChangeTest, AFolderThatIsMadeAnewIsFollowed) {
    StorePeer peer;
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    std::filesystem::remove_all(Folder());
    ASSERT_EQ(peer.Ask("set_int db/a 2"), "0");
    ASSERT_TRUE(list.WaitForLast("db/a=2"));
    ASSERT_EQ(peer.Ask("set_int db/a 3"), "0");
    ASSERT_TRUE(list.WaitForLast("db/a=3"));
}

TEST_F(ChangeTest, AValueThatIsntValidIsToldInTheLogAndNothingElseSuffers) {
    ASSERT_EQ(vconf_set_int("db/a", 1), 0);
    auto& list = Keep<ChangeList>();
    ASSERT_EQ(Watch("db/a", list), 0);
    ASSERT_EQ(Watch("db/b", list), 0);
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(Database().c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database,
                           "UPDATE keys SET type = 77, number = (SELECT max(number) + 1 FROM keys)"
                           " WHERE name = 'db/a'",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(database);
    ASSERT_EQ(vconf_set_int("db/b", 2), 0);
    EXPECT_TRUE(list.WaitFor(1));
    EXPECT_THAT(list.Texts(), ElementsAre("db/b=2"));
    EXPECT_TRUE(
        LogCapture::WaitFor(DLOG_WARN, "db/a has a value in the database that isn't valid"));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// The store by itself: restarts of the machine, numbers, lists.

#include "Store.h"

#include <barrier>
#include <gmock/gmock.h>
#include <thread>

#include "StoreDefaults.h"
#include "StoreFixture.h"

namespace {

using testing::ElementsAre;
using vconf::Store;
using vconf::StoredKey;
using vconf::StoreError;

TEST_F(StoreTest, MemoryKeysEndWithTheMachinesRestart) {
    {
        Store store = Open("boot 1");
        store.SetInt("memory/a", 1);
        store.SetInt("db/a", 2);
        store.SetInt("memory2/a", 3);
        store.SetInt("memory0", 3);
        store.SetInt("db/gone", 4);
        store.Unset("db/gone");
    }
    {
        Store store = Open("boot 1"); // another process
        EXPECT_EQ(store.Get("memory/a").integer, 1);
    }
    Store store = Open("boot 2");
    EXPECT_EQ(WhyNot([&] { store.Get("memory/a"); }), "no key memory/a");
    EXPECT_THAT(Names(store.List("")), ElementsAre("db/a", "memory0", "memory2/a"));
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

TEST_F(StoreTest, ALookAtChangesThatFailsSkipsNone) {
    Store store = Open();
    std::int64_t number = store.LastNumber();
    store.SetInt("db/a", 1);
    store.SetInt("db/b", 1);
    EXPECT_THROW(store.ChangesSince(number,
                                    [](std::string_view name) {
                                        return name == "db/a" ? true : throw StoreError("no");
                                    }),
                 StoreError);
    EXPECT_THAT(ChangedSince(store, number), ElementsAre("db/a", "db/b"));
}

TEST(StoreDefaults, KnowThisStartOfTheMachine) {
    EXPECT_EQ(vconf::BootId().size(), 36U);
    EXPECT_EQ(vconf::BootId(), vconf::BootId());
}

TEST(StoreDefaults, KnowWhereTheDatabaseIs) {
    unsetenv("VCONF_DATABASE");
    EXPECT_EQ(vconf::DatabasePath(), "/var/lib/vconf/vconf.db");
    setenv("VCONF_DATABASE", "", 1);
    EXPECT_EQ(vconf::DatabasePath(), "/var/lib/vconf/vconf.db");
    setenv("VCONF_DATABASE", "here.db", 1);
    EXPECT_EQ(vconf::DatabasePath(), std::filesystem::current_path() / "here.db");
    unsetenv("VCONF_DATABASE");
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

TEST_F(StoreTest, OnlyTheFirstAfterARestartOfTheMachineEndsMemoryKeys) {
    constexpr int THREADS = 8;
    for (int round = 1; round <= 20; ++round) {
        const std::string boot = "boot " + std::to_string(round);
        std::barrier begin(THREADS);
        std::vector<std::thread> threads;
        for (int number = 0; number < THREADS; ++number) {
            threads.emplace_back([&, number] {
                begin.arrive_and_wait();
                try {
                    Open(boot).SetInt("memory/" + std::to_string(number), round);
                } catch (const StoreError& error) {
                    ADD_FAILURE() << error.what();
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(Open(boot).List("memory/").size(), std::size_t{THREADS}) << round;
    }
}

} // namespace

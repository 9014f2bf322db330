// SPDX-License-Identifier: Apache-2.0

// Many at once.

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <thread>

#include "StorePeer.h"
#include "VConfFixture.h"

namespace {

constexpr int THREADS = 100;

using ManyTest = VConfTest;

TEST_F(ManyTest, ThreadsSetGetWatchAndIgnoreAtOnce) {
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    auto& lists = Keep<std::array<ChangeList, THREADS>>();
    ASSERT_EQ(Watch("db/another", lists[0]), 0);
    for (int number = 0; number < THREADS; ++number) {
        threads.emplace_back([&, number] {
            const std::string key = "db/" + std::to_string(number);
            failures += vconf_notify_key_changed(key.c_str(), ChangeList::Add,
                                                 &lists[static_cast<std::size_t>(number)]);
            for (int round = 1; round <= 20; ++round) {
                failures += vconf_set_int(key.c_str(), round);
                int value = 0;
                failures += vconf_get_int(key.c_str(), &value);
                failures += value == round ? 0 : -1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    for (int number = 0; number < THREADS; ++number) {
        const std::string key = "db/" + std::to_string(number);
        EXPECT_TRUE(lists[static_cast<std::size_t>(number)].WaitForLast(key + "=20"));
        EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), ChangeList::Add), 0);
    }
}

TEST_F(ManyTest, ProcessesAreNeverTurnedAway) {
    auto& list = Keep<ChangeList>();
    std::vector<std::unique_ptr<StorePeer>> peers;
    for (int number = 0; number < 10; ++number) {
        peers.push_back(std::make_unique<StorePeer>());
        ASSERT_EQ(Watch("db/" + std::to_string(number) + "-9", list), 0);
    }
    for (std::size_t number = 0; number < peers.size(); ++number) { // 10 threads, 30 rounds
        peers[number]->Tell("set_many db/" + std::to_string(number) + "- 10 30");
        peers[number]->Tell("sync db/a");
    }
    for (const auto& peer : peers) {
        EXPECT_EQ(peer->Answer(), "0");
        EXPECT_EQ(peer->Answer(), "0");
    }
    for (int process = 0; process < 10; ++process) {
        for (int thread = 0; thread < 10; ++thread) {
            int value = 0;
            EXPECT_EQ(vconf_get_int(
                          ("db/" + std::to_string(process) + "-" + std::to_string(thread)).c_str(),
                          &value),
                      0);
            EXPECT_EQ(value, 30);
        }
    }
    // Behind this one all the others have been told.
    ASSERT_EQ(Watch("db/end", list), 0);
    ASSERT_EQ(vconf_set_int("db/end", 1), 0);
    ASSERT_TRUE(list.WaitForLast("db/end=1"));
    std::map<std::string, int> last;
    for (const SeenChange& change : list.Changes()) {
        EXPECT_GT(change.integer, last[change.name]) << change.name; // never back, never twice
        last[change.name] = change.integer;
    }
    EXPECT_EQ(last.size(), 11U);
    for (const auto& [name, value] : last) {
        EXPECT_EQ(value, name == "db/end" ? 1 : 30) << name;
    }
}

} // namespace

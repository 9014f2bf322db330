// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "AnyThreadMutex.h"
#include "Caller.h"

namespace {

using marrow::base::AnyThreadMutex;

// Locks it, once it can, and leaves it locked.
auto Locking(AnyThreadMutex& mutex) {
    return [&mutex] {
        mutex.lock();
        return true;
    };
}

TEST(AnyThreadMutex, IsUnlockedByAnotherThreadThanTheOneThatLockedIt) {
    AnyThreadMutex mutex;
    mutex.lock();
    Caller waiting(Locking(mutex));
    EXPECT_TRUE(waiting.IsBlockedBy(mutex));
    EXPECT_FALSE(waiting.IsDone());
    std::thread([&] { mutex.unlock(); }).join();
    EXPECT_TRUE(waiting.Join());
}

TEST(AnyThreadMutex, LetsOneWaiterInForEachUnlock) {
    AnyThreadMutex mutex;
    mutex.lock();
    Caller first(Locking(mutex));
    Caller second(Locking(mutex));
    EXPECT_TRUE(first.IsBlockedBy(mutex));
    EXPECT_TRUE(second.IsBlockedBy(mutex));
    mutex.unlock();
    EXPECT_TRUE(WaitUntil([&] { return first.IsDone() || second.IsDone(); }));
    EXPECT_TRUE(first.IsDone() ? second.IsBlockedBy(mutex) : first.IsBlockedBy(mutex));
    EXPECT_NE(first.IsDone(), second.IsDone());
    mutex.unlock();
    EXPECT_TRUE(first.Join());
    EXPECT_TRUE(second.Join());
}

TEST(AnyThreadMutex, RemembersNoUnlockThatNobodyNeeded) {
    AnyThreadMutex mutex;
    mutex.unlock();
    mutex.unlock();
    mutex.lock();
    Caller waiting(Locking(mutex));
    EXPECT_TRUE(waiting.IsBlockedBy(mutex));
    mutex.unlock();
    EXPECT_TRUE(waiting.Join());
}

TEST(AnyThreadMutex, MayBeLockedThroughTheStandardsGuards) {
    AnyThreadMutex mutex;
    { const std::scoped_lock lock(mutex); }
    mutex.lock(); // which it couldn't, had the guard left it locked
    Caller waiting([&] {
        const std::scoped_lock lock(mutex);
        return true;
    });
    EXPECT_TRUE(waiting.IsBlockedBy(mutex));
    mutex.unlock();
    EXPECT_TRUE(waiting.Join());
}

TEST(AnyThreadMutex, IsHeldByOneThreadAtATime) {
    constexpr int COUNT = 20000;
    AnyThreadMutex mutex;
    int sum = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < COUNT; ++j) {
                const std::scoped_lock lock(mutex);
                const volatile int before = sum;
                sum = before + 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sum, 4 * COUNT);
}

// For the sanitizers: whoever waited may end the mutex while unlock() hasn't returned.
TEST(AnyThreadMutex, MayEndAsSoonAsTheWaiterHasIt) {
    for (int i = 0; i < 200; ++i) {
        auto mutex = std::make_unique<AnyThreadMutex>();
        AnyThreadMutex& shared = *mutex;
        bool isDone = false; // handed over through the mutex
        shared.lock();
        std::thread unlocking([&] {
            isDone = true;
            shared.unlock();
        });
        shared.lock();
        mutex.reset();
        EXPECT_TRUE(isDone);
        unlocking.join();
    }
}

} // namespace

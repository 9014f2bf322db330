// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "FreeMemory.h"

namespace {

// In a process that has never done so; with the sanitizers' allocator, which leaves the C library's
// unused until then.
TEST(FreeMemory, MayBeGivenBackByManyThreadsAtOnce) {
    constexpr int COUNT = 8;
    std::atomic<int> ready = 0;
    std::atomic<int> done = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < COUNT; ++i) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < COUNT) {
            }
            marrow::base::ReturnFreeMemory();
            ++done;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(done, COUNT);
}

} // namespace

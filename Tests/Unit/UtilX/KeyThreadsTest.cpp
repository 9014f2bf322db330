// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "KeyWindow.h"
#include "UtilX.h"
#include "VirtualDisplay.h"

TEST(UtilXThreads, GrabAtOnceWhileKeysArePressed) {
    const VirtualDisplay server;
    KeyWindow window;
    ASSERT_EQ(window.Grab("Return"), 0);
    const KeyWindow others[4];
    std::atomic<int> failures{0};
    std::atomic<bool> isPressing{true};
    std::vector<std::thread> threads;
    for (const KeyWindow& other : others) {
        threads.emplace_back([&] {
            constexpr std::array KEYS = {"1", "2", "XF86AudioPlay", "XF86Red", "Return"};
            do {
                for (const char* key : KEYS) {
                    failures += other.Grab(key) == 0 ? 0 : 1;
                }
                for (const char* key : KEYS) {
                    failures += other.Ungrab(key) == 0 ? 0 : 1;
                }
            } while (isPressing);
        });
    }
    const auto code = server.KeyCode("Return");
    for (int i = 0; i < 200; ++i) {
        server.Tap("1");
        server.Tap(code);
        EXPECT_EQ(window.Next(2), Tapped(code));
    }
    isPressing = false;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
}

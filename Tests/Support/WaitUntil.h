// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <thread>

#include "Patience.h"

/// Looks every few milliseconds whether `condition()` holds; false when `limit` has passed first.
/// For what gives no signal of its own.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::seconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + Patient(limit);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

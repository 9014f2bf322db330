// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <random>

#include "BusTimes.h"
#include "PrivateBus.h"

/// Kills the bus now and then and starts it again. Not an actor: the bus ends with the thread that
/// has started it.
class BusBreaker {
public:
    /// `interval` is what lies between two kills on average.
    BusBreaker(PrivateBus& bus, BusTimes& times, std::chrono::milliseconds interval, unsigned seed);

    /// Kills it if it is time to, and returns when the daemon is back on the bus.
    void Look();

    int Kills() const { return m_kills; }
    /// The longest that the daemon took to be back.
    std::chrono::milliseconds Longest() const { return m_longest; }

private:
    using Clock = std::chrono::steady_clock;

    void SetNext();

    PrivateBus& m_bus;
    BusTimes& m_times;
    const std::chrono::milliseconds m_interval;
    std::mt19937 m_random;
    Clock::time_point m_next;
    int m_kills = 0;
    std::chrono::milliseconds m_longest{0};
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

/// When the bus was there: its times are numbered, and an odd number is one without it. Any thread
/// looks; one kills the bus, and tells it ahead of that.
class BusTimes {
public:
    unsigned Now() const { return m_now; }
    bool IsThere() const { return m_now % 2 == 0; }

    /// The bus is about to go, or the daemon is back on it.
    void Change() { ++m_now; }

private:
    std::atomic<unsigned> m_now{0};
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Opens once, for everybody: how a test holds up a thread, or learns that it has come somewhere.
class Gate {
public:
    void Open() {
        const std::scoped_lock lock(m_mutex);
        m_open = true;
        m_opened.notify_all(); // under the lock: the waiter may destroy the gate at once
    }

    /// False when `limit` has passed first.
    bool Wait(std::chrono::seconds limit = std::chrono::seconds(30)) {
        std::unique_lock lock(m_mutex);
        return m_opened.wait_for(lock, limit, [this] { return m_open; });
    }

    bool IsOpen() {
        const std::scoped_lock lock(m_mutex);
        return m_open;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_open = false;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

/// Stops a thread of the code under test where it writes a certain text. Any thread.
class HoldPoint {
public:
    /// The next thread that passes with a text which holds `part` stops there until Release.
    void Hold(std::string part) {
        const std::scoped_lock lock(m_mutex);
        m_part = std::move(part);
        m_held = false;
    }

    /// Waits until a thread has stopped there.
    bool WaitForHeld() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(20), [this] { return m_held; });
    }

    void Release() {
        const std::scoped_lock lock(m_mutex);
        m_part.clear();
        m_held = false;
        m_changed.notify_all();
    }

    /// What the writer of a text calls.
    void Pass(std::string_view text) {
        std::unique_lock lock(m_mutex);
        if (!m_part.empty() && !m_held && text.find(m_part) != std::string_view::npos) {
            m_held = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return !m_held; });
        }
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_part; // empty: nobody is to be held
    bool m_held = false;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "Mutex.h"

namespace hearthd {

/// Threads for calls that nobody waits for, or not to the end: as many as there are such calls at
/// the same time, and kept for the next ones. Any thread; m_mutex guards everything.
class CallThreads {
public:
    using Work = std::function<void()>;

    CallThreads() = default;
    ~CallThreads() { End(); }
    CallThreads(const CallThreads&) = delete;
    CallThreads& operator=(const CallThreads&) = delete;

    /// Runs it at once. Throws std::system_error where there is no thread for it.
    void Run(Work work);

    /// Waits for what is running. Nothing may be given any more.
    void End();

private:
    void Serve();
    Work Next();

    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_changed;
    std::deque<Work> m_waiting GUARDED_BY(m_mutex);
    std::vector<std::thread> m_threads GUARDED_BY(m_mutex);
    std::size_t m_idle GUARDED_BY(m_mutex) = 0; // threads without work, or on their way to some
    bool m_ending GUARDED_BY(m_mutex) = false;
};

} // namespace hearthd

// SPDX-License-Identifier: Apache-2.0
#include "CallbackGate.h"

namespace tvservice {

using marrow::base::MutexLock;

bool CallbackGate::Enter() {
    const MutexLock lock(m_mutex);
    if (m_isClosed) {
        return false;
    }
    m_inside = std::this_thread::get_id();
    return true;
}

void CallbackGate::Leave() {
    const MutexLock lock(m_mutex);
    m_inside = {};
    m_left.NotifyAll();
}

void CallbackGate::Close() {
    const MutexLock lock(m_mutex);
    m_isClosed = true;
}

bool CallbackGate::CloseAndWait(std::optional<std::chrono::milliseconds> limit) {
    const Clock::time_point deadline = Clock::now() + limit.value_or(std::chrono::hours(24));
    const MutexLock lock(m_mutex);
    m_isClosed = true;
    while (m_inside != std::thread::id() && m_inside != std::this_thread::get_id()) {
        if (limit && Clock::now() >= deadline) {
            m_isClosed = false;
            return false;
        }
        m_left.WaitUntil(m_mutex, deadline);
    }
    return true;
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#include "CallbackGate.h"

namespace tvservice {

using marrow::base::MutexLock;

bool CallbackGate::Enter() {
    const MutexLock lock(m_mutex);
    if (m_isClosed || m_tries > 0) {
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

bool CallbackGate::MustWait() const {
    return m_inside != std::thread::id() && m_inside != std::this_thread::get_id();
}

void CallbackGate::CloseAndWait() {
    const MutexLock lock(m_mutex);
    m_isClosed = true;
    while (MustWait()) {
        m_left.Wait(m_mutex);
    }
}

bool CallbackGate::TryToClose(std::chrono::milliseconds limit) {
    const Clock::time_point deadline = Clock::now() + limit;
    const MutexLock lock(m_mutex);
    ++m_tries;
    while (MustWait() && Clock::now() < deadline) {
        m_left.WaitUntil(m_mutex, deadline);
    }
    --m_tries;
    if (MustWait()) {
        return false;
    }
    m_isClosed = true;
    return true;
}

} // namespace tvservice

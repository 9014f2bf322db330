// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Mutex.h"

namespace marrow::base {

/// A mutex that one thread may lock and another unlock, which std::mutex forbids. Not recursive. To
/// unlock it where nobody holds it does nothing.
///
/// The thread-safety analysis follows a lock within one thread only, so it has no part here.
class AnyThreadMutex {
public:
    void lock() {
        const MutexLock lock(m_mutex);
        while (m_locked) {
            m_unlocked.Wait(m_mutex);
        }
        m_locked = true;
    }

    void unlock() {
        const MutexLock lock(m_mutex);
        m_locked = false;
        m_unlocked.NotifyOne(); // under the lock: the waiter may destroy this object at once
    }

private:
    Mutex m_mutex;
    Condition m_unlocked;
    bool m_locked GUARDED_BY(m_mutex) = false;
};

} // namespace marrow::base

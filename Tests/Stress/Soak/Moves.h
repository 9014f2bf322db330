// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>
#include <shared_mutex>

/// Keeps apart what the daemon holds up for ten seconds at a time, or can't tell the end of: a
/// service that stops waits for its own worker, and a call that is under way there waits for the
/// stop; a dump of all threads ends the wait for a start or a stop without their end.
///
/// A stop and a dump take it alone, calls of a service that may stop and starts take it together.
/// Who wants it alone isn't kept waiting by ever new others. Any thread.
class Moves {
public:
    void lock() {
        m_entry.lock();
        m_inside.lock();
    }
    void unlock() {
        m_inside.unlock();
        m_entry.unlock();
    }
    void lock_shared() {
        const std::scoped_lock entry(m_entry);
        m_inside.lock_shared();
    }
    void unlock_shared() { m_inside.unlock_shared(); }

private:
    std::mutex m_entry;
    std::shared_mutex m_inside;
};

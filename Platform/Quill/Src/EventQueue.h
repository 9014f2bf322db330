// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Mutex.h"
#include "TCEvent.h"

namespace Quill {

// The queue of a TCEventIO. Any thread pushes; one thread serves.
//
// Pushing appends to m_waiting under the mutex and wakes the serving thread only when that thread
// said it sleeps. The serving thread swaps the whole of m_waiting against its own, empty m_batch
// and works through that without the lock. Both vectors keep their capacity, so that a queue which
// is warm allocates nothing per event. When a second passes without an event, the serving thread
// gives back what memory its last ones took.
class EventQueue {
public:
    explicit EventQueue(const char* name);
    ~EventQueue();
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    /// Returns false when the queue is closed: the event isn't taken.
    bool Push(const TCEvent& event);
    /// Serves until Close, and then what came before it.
    void Serve();
    void Close();
    /// Clears, without serving, what is left. Only with no thread in Serve.
    void Discard();
    const char* Name() const { return m_name.c_str(); }

private:
    /// Waits for events and swaps them into m_batch; false when the queue is closed and empty.
    bool TakeBatch();
    /// May wake for no reason.
    void Sleep() REQUIRES(m_mutex);

    const std::string m_name;

    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_wake;
    std::vector<TCEvent> m_waiting GUARDED_BY(m_mutex);
    bool m_sleeping GUARDED_BY(m_mutex) = false;
    bool m_closed GUARDED_BY(m_mutex) = false;

    // The serving thread's own.
    std::vector<TCEvent> m_batch;
    bool m_isTidy = true; // since the last event has memory been given back
};

} // namespace Quill

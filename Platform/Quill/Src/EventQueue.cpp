// SPDX-License-Identifier: Apache-2.0
#include "EventQueue.h"

#include <chrono>

#include "FreeMemory.h"
#include "TCHandler.h"

namespace Quill {

using marrow::base::MutexLock;

EventQueue::EventQueue(const char* name) : m_name(name == nullptr ? "" : name) {}

EventQueue::~EventQueue() {
    Discard();
}

bool EventQueue::Push(const TCEvent& event) {
    bool wake = false;
    {
        const MutexLock lock(m_mutex);
        if (m_closed) {
            return false;
        }
        m_waiting.push_back(event);
        wake = m_sleeping;
        m_sleeping = false;
    }
    if (wake) {
        m_wake.NotifyOne();
    }
    return true;
}

bool EventQueue::TakeBatch() {
    m_batch.clear();
    const MutexLock lock(m_mutex);
    while (m_waiting.empty()) {
        if (m_closed) {
            return false;
        }
        Sleep();
    }
    m_isTidy = false;
    m_waiting.swap(m_batch);
    return true;
}

void EventQueue::Sleep() {
    m_sleeping = true;
    if (m_isTidy) {
        m_wake.Wait(m_mutex);
    } else if (!m_wake.WaitUntil(m_mutex, std::chrono::steady_clock::now() +
                                              marrow::base::QUIET_BEFORE_RETURN)) {
        m_isTidy = true;
        m_mutex.unlock();
        marrow::base::ReturnFreeMemory();
        m_mutex.lock();
    }
    m_sleeping = false;
}

void EventQueue::Serve() {
    while (TakeBatch()) {
        for (TCEvent& event : m_batch) {
            TCHandler* const handler = event.handler;
            handler->t_OnEvent(&event);
            handler->t_Clear(&event); // the handler may be gone now
        }
    }
}

void EventQueue::Close() {
    {
        const MutexLock lock(m_mutex);
        m_closed = true;
    }
    m_wake.NotifyAll();
}

void EventQueue::Discard() {
    std::vector<TCEvent> left;
    {
        const MutexLock lock(m_mutex);
        m_closed = true;
        left.swap(m_waiting);
    }
    for (TCEvent& event : left) {
        event.handler->t_Clear(&event);
    }
}

} // namespace Quill

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Mutex.h"

namespace Quill {

// Counts the callbacks that run, so that an endpoint's end can wait for them and let no more begin.
// Any thread.
class CallbackGate {
public:
    /// One callback. It may run only where IsOpen says so.
    class Passage {
    public:
        explicit Passage(CallbackGate& gate) : m_gate(gate), m_isOpen(gate.Enter()) {}
        ~Passage() {
            if (m_isOpen) {
                m_gate.Leave();
            }
        }
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;

        bool IsOpen() const { return m_isOpen; }

    private:
        CallbackGate& m_gate;
        const bool m_isOpen;
    };

    void Open() {
        const marrow::base::MutexLock lock(m_mutex);
        m_open = true;
    }

    /// Returns when no callback runs any more.
    void CloseAndWait() {
        const marrow::base::MutexLock lock(m_mutex);
        m_open = false;
        while (m_running > 0) {
            m_left.Wait(m_mutex);
        }
    }

private:
    bool Enter() {
        const marrow::base::MutexLock lock(m_mutex);
        if (m_open) {
            ++m_running;
        }
        return m_open;
    }

    void Leave() {
        const marrow::base::MutexLock lock(m_mutex);
        --m_running;
        if (!m_open && m_running == 0) {
            m_left.NotifyAll();
        }
    }

    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_left;
    bool m_open GUARDED_BY(m_mutex) = false;
    int m_running GUARDED_BY(m_mutex) = 0;
};

} // namespace Quill

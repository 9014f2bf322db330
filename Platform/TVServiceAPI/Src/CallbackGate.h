// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <thread>

#include "Mutex.h"

namespace tvservice {

/// Lets callbacks of one subscription through until it is closed. They come on one thread, one
/// after the other; any thread may close.
class CallbackGate {
public:
    using Clock = std::chrono::steady_clock;

    /// Makes the call, unless the gate is closed or being closed. Returns whether it was made.
    template <typename Call>
    bool Pass(const Call& call) {
        if (!Enter()) {
            return false;
        }
        call();
        Leave();
        return true;
    }

    /// No call begins from now on; one that is under way goes on.
    void Close();

    /// The same, and waits for the end of the call that is under way, unless it is the caller that
    /// is inside of it.
    void CloseAndWait();

    /// The same, but where the call hasn't ended in time it returns false and hasn't closed the
    /// gate.
    bool TryToClose(std::chrono::milliseconds limit);

private:
    bool Enter();
    void Leave();
    bool MustWait() const REQUIRES(m_mutex);

    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_left;
    bool m_isClosed GUARDED_BY(m_mutex) = false; // for ever
    unsigned m_tries GUARDED_BY(m_mutex) = 0;    // to close it, under way: no call begins meanwhile
    std::thread::id m_inside GUARDED_BY(m_mutex); // nobody, where it is no thread's
};

} // namespace tvservice

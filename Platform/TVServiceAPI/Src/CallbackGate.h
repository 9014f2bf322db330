// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
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
    /// is inside of it. Returns false, with the gate open again, where it hasn't ended in time.
    bool CloseAndWait(std::optional<std::chrono::milliseconds> limit);

private:
    bool Enter();
    void Leave();

    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_left;
    bool m_isClosed GUARDED_BY(m_mutex) = false;
    std::thread::id m_inside GUARDED_BY(m_mutex); // nobody, where it is no thread's
};

} // namespace tvservice

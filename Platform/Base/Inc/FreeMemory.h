// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <malloc.h>
#include <optional>

// Of mimalloc, in a program that links it.
extern "C" [[gnu::weak]] void mi_collect(bool force);

namespace marrow::base {

/// Gives the system back what the allocator keeps of freed memory, as far as the calling thread
/// can: allocators do so by themselves only while they are asked for more, so that a thread's own
/// part of a burst would stay for as long as it sleeps. Takes microseconds, or after a large burst
/// milliseconds. Any thread.
inline void ReturnFreeMemory() {
    if (mi_collect != nullptr) {
        mi_collect(true);
    } else {
        malloc_trim(0);
    }
}

/// Tells a thread that waits for work when to return free memory: a second after it has worked, and
/// again after two, four and more, up to some minutes. Others may still free what this thread has
/// allocated, as the receivers of what it has sent do, and only this thread can return that.
/// One thread's own.
class MemoryTidier {
public:
    static constexpr std::chrono::seconds FIRST_WAIT{1};
    static constexpr std::chrono::seconds LONGEST_WAIT{256};

    void HasWorked() { m_wait = FIRST_WAIT; }
    /// How long to wait for work before it is worth while to tidy up; nothing where it isn't.
    std::optional<std::chrono::seconds> Wait() const {
        return m_wait <= LONGEST_WAIT ? std::optional(m_wait) : std::nullopt;
    }
    /// Once that time has passed.
    void TidyUp() {
        m_wait *= 2;
        ReturnFreeMemory();
    }

private:
    std::chrono::seconds m_wait = 2 * LONGEST_WAIT;
};

} // namespace marrow::base

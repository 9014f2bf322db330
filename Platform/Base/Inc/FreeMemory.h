// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <malloc.h>

#include "Mutex.h"

// Of mimalloc, in a program that links it.
extern "C" [[gnu::weak]] void mi_collect(bool force);

namespace marrow::base {

/// How long a thread has had nothing to do when it is worth its while.
inline constexpr std::chrono::seconds QUIET_BEFORE_RETURN{1};

/// Gives the system back what the allocator keeps of freed memory, as far as the calling thread
/// can: allocators do so by themselves only while they are asked for more, so that a thread's own
/// part of a burst would stay for as long as it sleeps. Takes microseconds, or after a large burst
/// milliseconds. Any thread.
inline void ReturnFreeMemory() {
    if (mi_collect != nullptr) {
        mi_collect(true);
    } else {
        // Where another allocator stands ahead of the C library's, as the sanitizers' do, that one
        // hasn't been used yet, and two threads that come to it first together end the process.
        static Mutex mutex;
        const MutexLock lock(mutex);
        malloc_trim(0);
    }
}

} // namespace marrow::base

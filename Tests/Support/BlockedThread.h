// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "WaitUntil.h"

// Locks give no sign of who waits for them. The kernel does: it tells in which system call a thread
// sleeps, and a thread that waits for a mutex or a condition sleeps on a futex inside that object.

/// The calling thread's id, for the functions below.
inline pid_t ThisThread() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

inline bool IsFutex(long call) {
#ifdef SYS_futex_time64 // where time had 32 bits once
    if (call == SYS_futex_time64) {
        return true;
    }
#endif
    return call == SYS_futex;
}

/// Whether `thread`, one of this process, sleeps on a mutex or a condition within these bytes.
inline bool IsBlockedIn(pid_t thread, const void* begin, std::size_t size) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    long number = -1; // the file says "running" while there is no system call
    std::uintptr_t address = 0;
    if (!(file >> number >> std::hex >> address) || !IsFutex(number)) {
        return false;
    }
    const auto first = reinterpret_cast<std::uintptr_t>(begin);
    return address >= first && address < first + size;
}

/// Whether `thread`, one of this process, waits in any system call.
inline bool IsAsleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(file, line);
    return line.find(") S ") != std::string::npos;
}

/// Waits until it does; false when the limit has passed first.
template <typename Object>
bool WaitUntilBlockedIn(pid_t thread, const Object& object) {
    return WaitUntil([&] { return IsBlockedIn(thread, &object, sizeof(object)); });
}

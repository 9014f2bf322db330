// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <pthread.h>

#include "ThreadAnnotations.h"

namespace marrow::base {

/// std::mutex with the attributes that clang's thread-safety analysis needs. Same size, same
/// layout, same behaviour; not recursive.
class CAPABILITY("mutex") Mutex : public std::mutex {
public:
    void lock() ACQUIRE() { std::mutex::lock(); }
    void unlock() RELEASE() { std::mutex::unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return std::mutex::try_lock(); }
};

/// A Mutex for short sections on the road of every message: whoever finds it taken tries for a few
/// microseconds before it sleeps, because a sleep and a wake-up cost more than the section.
class CAPABILITY("mutex") SpinningMutex : public Mutex {
public:
    SpinningMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ADAPTIVE_NP);
        pthread_mutex_init(native_handle(), &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
};

/// Holds a Mutex from construction to destruction.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

/// A condition variable for use with Mutex. Waits may wake for no reason: always wait in a loop.
class Condition {
public:
    void Wait(Mutex& mutex) REQUIRES(mutex) {
        std::unique_lock<std::mutex> held(mutex, std::adopt_lock);
        m_condition.wait(held);
        held.release();
    }

    /// Returns false when `deadline` passed first.
    bool WaitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) REQUIRES(mutex) {
        std::unique_lock<std::mutex> held(mutex, std::adopt_lock);
        const bool signalled = m_condition.wait_until(held, deadline) == std::cv_status::no_timeout;
        held.release();
        return signalled;
    }

    void NotifyOne() { m_condition.notify_one(); }
    void NotifyAll() { m_condition.notify_all(); }

private:
    std::condition_variable m_condition;
};

} // namespace marrow::base

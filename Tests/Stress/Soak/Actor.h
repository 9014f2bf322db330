// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <random>
#include <string>
#include <thread>

/// One who acts on the daemon over and over, on a thread of its own. What it has counted so far
/// goes on when it is started again. Start and Stop come from one thread; m_mutex guards m_stopping
/// alone.
class Actor {
public:
    Actor(std::string name, unsigned seed) : m_name(std::move(name)), m_random(seed) {}
    virtual ~Actor() = default; // stopped by then: a derived part may be in use
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    void Start();
    void Stop();

    const std::string& Name() const { return m_name; }

protected:
    // For the actor's own thread.

    /// One turn. What it throws is a failure.
    virtual void Act() = 0;

    /// Waits, and no longer than until Stop.
    void Rest(std::chrono::milliseconds time);
    bool IsStopping();
    /// From `least` to `most`, both included.
    int Random(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(m_random);
    }

    /// Fails the test, with the actor's name; of many failures the first ones are shown.
    void Fail(const std::string& what);

private:
    void Run();

    const std::string m_name;
    std::mt19937 m_random;
    int m_failures = 0;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_stopping = false;
    std::thread m_thread;
};

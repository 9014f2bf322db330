// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <thread>
#include <utility>

#include "BlockedThread.h"

/// A call on a thread of its own. The object's end waits for it.
template <typename Result>
class Caller {
public:
    template <typename Call>
    explicit Caller(Call call)
        : m_thread([this, call] {
              m_id = ThisThread();
              m_result = call();
              m_done = true;
          }) {}
    ~Caller() { Join(); }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    /// Waits for the call's end.
    Result Join() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
        return m_result;
    }

    bool IsDone() const { return m_done; }

    /// Waits until it sleeps on a lock or a condition within `object`.
    template <typename Object>
    bool IsBlockedBy(const Object& object) const {
        return WaitUntil([&] { return m_id != 0 && IsBlockedIn(m_id, &object, sizeof(object)); });
    }

    /// Waits until it sleeps on anything.
    bool IsWaiting() const {
        return WaitUntil([&] { return m_id != 0 && IsAsleep(m_id); });
    }

private:
    Result m_result{};
    std::atomic<pid_t> m_id{0};
    std::atomic<bool> m_done{false};
    std::thread m_thread; // last: it uses the others
};

template <typename Call>
Caller(Call) -> Caller<decltype(std::declval<Call>()())>;

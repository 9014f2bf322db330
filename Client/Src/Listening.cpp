// SPDX-License-Identifier: Apache-2.0
#include "Listening.h"

#include <utility>

#include "Connection.h"

namespace hearthd {

using marrow::base::MutexLock;

Listening::Listening(std::weak_ptr<Connection> connection, std::string signal, Listener listener)
    : m_connection(std::move(connection)), m_signal(std::move(signal)),
      m_listener(std::move(listener)) {}

Listening::~Listening() = default;

void Listening::Deliver(const Notification& notification) noexcept {
    if (Enter()) {
        m_listener(notification);
        Leave();
    }
}

bool Listening::Enter() {
    const MutexLock lock(m_mutex);
    if (m_ended) {
        return false;
    }
    m_runner = std::this_thread::get_id();
    return true;
}

// Whoever waits for this end may count on the listener being gone.
void Listening::Leave() {
    DropIfEnded();
    const MutexLock lock(m_mutex);
    m_runner = {};
    m_left.NotifyAll();
}

// What a listener holds may do anything when it goes: not under the lock.
void Listening::DropIfEnded() {
    Listener listener;
    const MutexLock lock(m_mutex);
    if (m_ended) {
        listener.swap(m_listener);
    }
}

void Listening::Cease() {
    const MutexLock lock(m_mutex);
    m_ended = true;
}

void Listening::End() {
    if (const std::shared_ptr<Connection> connection = m_connection.lock()) {
        connection->Forget(*this);
    }
    {
        const MutexLock lock(m_mutex);
        m_ended = true;
        if (m_runner == std::this_thread::get_id()) {
            return;
        }
        while (m_runner != std::thread::id()) {
            m_left.Wait(m_mutex);
        }
    }
    DropIfEnded();
}

} // namespace hearthd

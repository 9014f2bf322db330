// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "HearthClient.h"
#include "Mutex.h"

namespace hearthd {

class Connection;

/// One listener. The connection's listening thread delivers to it, any thread ends it; m_mutex
/// guards what they share and isn't held while the listener runs.
class Listening {
public:
    Listening(std::weak_ptr<Connection> connection, std::string signal, Listener listener);
    ~Listening();
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    const std::string& Signal() const { return m_signal; }

    /// An exception of the listener's ends the process.
    void Deliver(const Notification& notification) noexcept;

    /// No call begins any more. A running one isn't waited for.
    void Cease();
    /// Destroys the listener of one that has ceased and doesn't run.
    void DropIfEnded();

    /// See Subscription.
    void End();

private:
    bool Enter();
    void Leave();

    const std::weak_ptr<Connection> m_connection;
    const std::string m_signal;

    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_left;
    bool m_ended GUARDED_BY(m_mutex) = false;
    std::thread::id m_runner GUARDED_BY(m_mutex); // the thread that is in the listener
    Listener m_listener;                          // the runner's, or else guarded by m_mutex
};

} // namespace hearthd

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "Actor.h"
#include "BusTimes.h"
#include "RawClient.h"

/// An actor with a connection to the bus, which is made anew each time the bus has been away. What
/// fails while the bus goes is no failure of the daemon's.
class BusActor : public Actor {
public:
    BusActor(std::string name, unsigned seed, const BusTimes& times)
        : Actor(std::move(name), seed), m_times(times) {}

protected:
    /// Once for each connection.
    virtual void OnConnect(RawClient& client) = 0;
    /// One turn, on a connection.
    virtual void Use(RawClient& client) = 0;

    /// Whether the bus has gone since the connection was made.
    bool IsBusLost() const { return m_times.Now() != m_connected; }

private:
    void Act() final;
    void Connect();

    const BusTimes& m_times;
    unsigned m_connected = 0;
    std::optional<RawClient> m_client;
};

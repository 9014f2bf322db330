// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "BusActor.h"
#include "Moves.h"

/// A client that calls services of every kind, each call with a number that its reply must bear.
/// The counts may be read by any thread.
class ServiceClient : public BusActor {
public:
    /// A process id that no real one has, by which the daemon's watch for dead callers knows the
    /// client of this number: its name tells it.
    static int ProcessId(int number) { return 4200000 + number; }
    static std::string BusName(int number) {
        return "marrow.ser.client.PID_" + std::to_string(ProcessId(number));
    }

    ServiceClient(int number, unsigned seed, const BusTimes& times, Moves& moves);

    int Calls() const { return m_calls; }
    int Answered() const { return m_answered; }
    /// By a service that wasn't started just then.
    int Refused() const { return m_refused; }
    /// With the bus.
    int Lost() const { return m_lost; }

private:
    void OnConnect(RawClient& client) override;
    void Use(RawClient& client) override;
    void Judge(const RawClient::Reply& reply, const std::string& payload, bool mayBeAway);
    void TakeStrays(RawClient& client);

    const int m_number;
    Moves& m_moves;
    std::atomic<int> m_calls{0};
    std::atomic<int> m_answered{0};
    std::atomic<int> m_refused{0};
    std::atomic<int> m_lost{0};
    int m_strays = 0; // replies that nobody waits for
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "BusActor.h"
#include "Daemon.h"
#include "Moves.h"

/// Has services started and unloaded, through the debug shell's pipe and over D-Bus. Rounds may be
/// read by any thread.
class Loader : public BusActor {
public:
    /// `mark` is a LAZY service of its own: it shows when the pipe has handled what was written
    /// before.
    Loader(const Daemon& daemon, std::vector<std::string> services, std::string mark, Moves& moves,
           unsigned seed, const BusTimes& times);

    int Rounds() const { return m_rounds; }

    /// Ends every service that may be left from a turn that the bus has cut short. By its own
    /// thread, or while it is stopped.
    void UnloadAll(RawClient& client);

private:
    enum class Goal { STARTED, UNLOADED };

    void OnConnect(RawClient& client) override { UnloadAll(client); }
    void Use(RawClient& client) override;

    void Order(RawClient& client, Goal goal, const std::string& service);
    void OrderByBus(RawClient& client, Goal goal, const std::string& service);
    void OrderByPipe(RawClient& client, Goal goal, const std::string& service);
    void WriteToPipe(const std::string& line) const;
    static std::string Ask(RawClient& client, const std::string& function,
                           const std::string& service);

    const Daemon& m_daemon;
    const std::vector<std::string> m_services;
    const std::string m_mark;
    Moves& m_moves;
    std::atomic<int> m_rounds{0};
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <filesystem>
#include <string>

#include "BusActor.h"
#include "Daemon.h"
#include "Moves.h"

/// A client that reports its own crash in the middle of a call. It leaves crash files of other
/// clients too, of none, and files that are no crash files; and keeps the daemon's log small.
/// Reports may be read by any thread.
class CrashReporter : public BusActor {
public:
    CrashReporter(Daemon& daemon, unsigned seed, const BusTimes& times, Moves& moves);

    int Reports() const { return m_reports; }
    /// What the daemon wrote ahead of the last report; while it is stopped.
    const std::string& OlderLog() const { return m_olderLog; }

private:
    void OnConnect(RawClient& client) override;
    void Use(RawClient& client) override;
    void LeaveFile(const std::string& name) const;

    Daemon& m_daemon;
    const std::filesystem::path m_folder;
    Moves& m_moves;
    std::string m_olderLog;
    std::atomic<int> m_reports{0};
};

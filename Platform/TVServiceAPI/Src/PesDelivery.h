// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "Demuxer.h"
#include "PESDataSubscriber.h"

namespace tvservice {

/// Brings PES packets to a subscriber; each PID is assembled once. The library's thread.
class PesDelivery {
public:
    PesDelivery(Demuxer& demuxer, std::shared_ptr<PESDataSubscriber> subscriber);
    ~PesDelivery();
    PesDelivery(const PesDelivery&) = delete;
    PesDelivery& operator=(const PesDelivery&) = delete;

    const ScreenKey& Screen() const { return m_subscriber->Screen(); }

    /// The PIDs of the settings, for those who have selected none: between packets.
    void SetPids(const std::vector<std::uint16_t>& pids);
    /// Takes over what has changed at the subscriber: between packets.
    void Sync();

private:
    class Pid;

    void Follow();
    void Want(std::uint16_t pid, int id, const PESDataSubscriber::Table::Pointer& subscription);

    Demuxer& m_demuxer;
    const std::shared_ptr<PESDataSubscriber> m_subscriber;
    PESDataSubscriber::Table::List m_subscriptions;
    std::vector<std::uint16_t> m_settingsPids;
    std::map<std::uint16_t, std::unique_ptr<Pid>> m_pids;
};

} // namespace tvservice

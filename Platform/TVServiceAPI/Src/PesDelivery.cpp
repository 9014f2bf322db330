// SPDX-License-Identifier: Apache-2.0
#include "PesDelivery.h"

#include <algorithm>

#include "PesAssembler.h"

namespace tvservice {

class PesDelivery::Pid final : public PacketSink, private PesSink {
public:
    Pid(std::uint16_t pid, const ScreenKey& screen, Counters& counters)
        : m_pid(pid), m_screen(screen), m_assembler(*this, counters) {}

    void OnPacket(const TsPacket& packet) override { m_assembler.Push(packet); }
    void OnBreak() override {
        m_assembler.Flush();
        m_assembler.Reset();
    }

    PESDataSubscriber::Table::List subscriptions;

private:
    void OnPes(std::vector<std::uint8_t>& bytes, bool damaged) override {
        const std::optional<PesHeader> header = PesHeader::Parse(bytes);
        const std::optional<TimeStamp> pts = header ? header->pts : std::nullopt;
        constexpr std::size_t STREAM_ID = 3;
        TSPESData data;
        data.profile = m_screen.profile;
        data.screen = static_cast<std::uint32_t>(m_screen.screen);
        data.short_b = m_pid;
        data.word_a = static_cast<std::uint32_t>(pts.value_or(0) >> 1);
        data.word_c = bytes[STREAM_ID];
        data.word_c |= pts ? PES_HAS_PTS : 0U;
        data.word_c |= damaged || !header ? PES_DAMAGED : 0U;
        data.bytes.swap(bytes);
        for (const auto& [id, subscription] : subscriptions) {
            data.subscription = id;
            subscription->gate.Pass([&data, &entry = *subscription] { //
                entry.callback(data, entry.user);
            });
        }
        data.bytes.swap(bytes);
    }

    const std::uint16_t m_pid;
    const ScreenKey m_screen;
    PesAssembler m_assembler;
};

PesDelivery::PesDelivery(Demuxer& demuxer, std::shared_ptr<PESDataSubscriber> subscriber)
    : m_demuxer(demuxer), m_subscriber(std::move(subscriber)) {}

PesDelivery::~PesDelivery() {
    for (const auto& [number, pid] : m_pids) {
        m_demuxer.Remove(number, *pid);
    }
}

void PesDelivery::SetPids(const std::vector<std::uint16_t>& pids) {
    m_settingsPids = pids;
    Follow();
}

void PesDelivery::Sync() {
    if (m_subscriber->Subscriptions().Take(m_subscriptions)) {
        Follow();
    }
}

void PesDelivery::Want(std::uint16_t pid, int id,
                       const PESDataSubscriber::Table::Pointer& subscription) {
    std::unique_ptr<Pid>& entry = m_pids[pid];
    if (!entry) {
        entry = std::make_unique<Pid>(pid, Screen(), m_demuxer.GetCounters());
        m_demuxer.Add(pid, *entry);
    }
    const std::pair pair(id, subscription);
    if (std::find(entry->subscriptions.begin(), entry->subscriptions.end(), pair) ==
        entry->subscriptions.end()) {
        entry->subscriptions.push_back(pair);
    }
}

// A PID that is wanted by others now goes on with what it has collected.
void PesDelivery::Follow() {
    for (const auto& [number, pid] : m_pids) {
        pid->subscriptions.clear();
    }
    for (const auto& [id, subscription] : m_subscriptions) {
        if (subscription->pid) {
            Want(*subscription->pid, id, subscription);
            continue;
        }
        for (const std::uint16_t pid : m_settingsPids) {
            Want(pid, id, subscription);
        }
    }
    std::erase_if(m_pids, [this](const auto& entry) {
        const bool isUnused = entry.second->subscriptions.empty();
        if (isUnused) {
            m_demuxer.Remove(entry.first, *entry.second);
        }
        return isUnused;
    });
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#include "SectionRouter.h"

namespace tvservice {

class SectionRouter::Pid final : public PacketSink, private SectionSink {
public:
    explicit Pid(Counters& counters) : m_assembler(*this, counters) {}

    SinkList<SectionSink>& Sinks() { return m_sinks; }

    void OnPacket(const TsPacket& packet) override { m_assembler.Push(packet); }
    void OnBreak() override { m_assembler.Reset(); }

private:
    void OnSection(const Section& section) override {
        m_sinks.ForEach([&section](SectionSink& sink) { sink.OnSection(section); });
    }

    SinkList<SectionSink> m_sinks;
    SectionAssembler m_assembler;
};

SectionRouter::SectionRouter(Demuxer& demuxer) : m_demuxer(demuxer) {}

SectionRouter::~SectionRouter() {
    for (const auto& [number, pid] : m_pids) {
        m_demuxer.Remove(number, *pid);
    }
}

void SectionRouter::Add(std::uint16_t pid, SectionSink& sink) {
    std::unique_ptr<Pid>& entry = m_pids[pid];
    if (!entry) {
        entry = std::make_unique<Pid>(m_demuxer.GetCounters());
        m_demuxer.Add(pid, *entry);
    }
    entry->Sinks().Add(sink);
}

void SectionRouter::Remove(std::uint16_t pid, SectionSink& sink) {
    const auto entry = m_pids.find(pid);
    if (entry != m_pids.end()) {
        entry->second->Sinks().Remove(sink);
        m_mayCollect = true;
    }
}

void SectionRouter::Collect() {
    if (!m_mayCollect) {
        return;
    }
    m_mayCollect = false;
    std::erase_if(m_pids, [this](const auto& entry) {
        const bool isUnused = entry.second->Sinks().IsEmpty();
        if (isUnused) {
            m_demuxer.Remove(entry.first, *entry.second);
        }
        return isUnused;
    });
}

} // namespace tvservice

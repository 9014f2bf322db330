// SPDX-License-Identifier: Apache-2.0
#include "Demuxer.h"

namespace tvservice {

Demuxer::Demuxer() : m_sinks(PID_COUNT) {}

void Demuxer::Push(std::span<const std::uint8_t, PACKET_BYTES> bytes) {
    ++m_counters.packets;
    SinkList<PacketSink>& sinks = m_sinks[TsPacket::PidOf(bytes.data())];
    if (sinks.IsEmpty()) {
        return;
    }
    const std::optional<TsPacket> packet = TsPacket::Parse(bytes);
    if (!packet) {
        ++m_counters.badPackets;
        return;
    }
    sinks.ForEach([&packet](PacketSink& sink) { sink.OnPacket(*packet); });
}

void Demuxer::Break() {
    for (SinkList<PacketSink>& sinks : m_sinks) {
        sinks.ForEach([](PacketSink& sink) { sink.OnBreak(); });
    }
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "Counters.h"
#include "SinkList.h"
#include "TsPacket.h"

namespace tvservice {

/// Who wants the packets of a PID.
class PacketSink {
public:
    /// A packet, in the order of the stream; it holds until this returns.
    virtual void OnPacket(const TsPacket& packet) = 0;
    /// The stream ends or jumps: nothing that follows continues what came.
    virtual void OnBreak() = 0;

protected:
    ~PacketSink() = default;
};

/// Hands each packet of a transport stream to those who want its PID. One thread; a sink may add
/// and remove sinks, itself among them, but must live until the packet has been handed out.
class Demuxer {
public:
    Demuxer();

    void Add(std::uint16_t pid, PacketSink& sink) { m_sinks[pid].Add(sink); }
    void Remove(std::uint16_t pid, PacketSink& sink) { m_sinks[pid].Remove(sink); }

    void Push(std::span<const std::uint8_t, PACKET_BYTES> bytes);
    void Break();

    /// Where everybody who follows the stream counts.
    Counters& GetCounters() { return m_counters; }

private:
    Counters m_counters;
    std::vector<SinkList<PacketSink>> m_sinks; // by PID
};

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <vector>

#include "Multiplex.h"
#include "StreamMaker.h"
#include "TableCarousel.h"
#include "TsWriter.h"
#include "VideoTrack.h"

namespace streammaker {

/// Makes one stream of what a StreamMaker holds. One thread.
class Muxer {
public:
    using Sink = std::function<void(const Bytes&)>;

    /// Keeps the reference.
    Muxer(const StreamMaker& maker, StreamTime duration);

    /// Gives the stream to `sink`, in pieces of whole packets. Once.
    void Run(const Sink& sink);

private:
    // Packets that wait for their place. One that waits for too long is an error.
    struct Waiting {
        StreamTime since;
        TsPacket packet;
    };
    using Queue = std::deque<Waiting>;

    StreamTime TimeOf(std::uint64_t slot) const;
    std::uint64_t PcrOf(std::uint64_t slot) const;
    void ApplyChanges(StreamTime now);
    void EnqueueDue(StreamTime now);
    void EnqueueVideo(StreamTime now);
    void WriteSlot(std::uint64_t slot);
    bool WritePcr(std::uint64_t slot);
    void CheckWait(const Queue& queue, StreamTime now, StreamTime limit) const;
    bool WriteFrom(Queue& queue);
    bool AllIsWritten() const;

    const StreamMaker& m_maker;
    const StreamSettings& m_settings;
    const StreamTime m_duration;
    Multiplex m_multiplex;
    std::multimap<StreamTime, StreamMaker::Change>::const_iterator m_nextChange;
    std::multimap<StreamTime, std::vector<TsPacket>>::const_iterator m_nextPackets;
    TableCarousel m_tables;
    std::map<std::uint16_t, VideoTrack> m_videos;   // by service
    std::map<std::uint16_t, StreamTime> m_nextPcrs; // by PID
    Queue m_tablePackets;
    Queue m_videoPackets;
    Queue m_otherPackets;
    TsWriter m_writer;
};

} // namespace streammaker

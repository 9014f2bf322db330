// SPDX-License-Identifier: Apache-2.0

// The stream is a row of slots, each of which has its time by the mux rate. A slot takes what
// matters most of what is due by then: a clock reference, whose value is that of its place, then
// video, then a table, then what was added by hand, and a null packet where there is nothing.

#include "Muxer.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "StreamClock.h"

namespace streammaker {

namespace {

constexpr std::uint64_t PACKET_BITS = PACKET_SIZE * 8;
constexpr std::uint64_t CLOCK_RATE = 27'000'000;
constexpr std::uint64_t CLOCK_RANGE = (1ULL << 33) * 300;
constexpr std::uint64_t BITS_TO_PCR = 10 * 8; // up to the byte whose arrival a PCR tells
constexpr std::size_t PIECE_SIZE = 1000 * PACKET_SIZE;
constexpr StreamTime LONGEST_VIDEO_WAIT = StreamMaker::DELAY / 2;
constexpr StreamTime LONGEST_TABLE_WAIT = std::chrono::milliseconds(500);
constexpr StreamTime LONGEST_OTHER_WAIT = std::chrono::seconds(10);

} // namespace

Muxer::Muxer(const StreamMaker& maker, StreamTime duration)
    : m_maker(maker), m_settings(maker.Settings()), m_duration(duration),
      m_multiplex(maker.AtBegin()), m_nextChange(maker.Changes().begin()),
      m_nextPackets(maker.Packets().begin()), m_tables(m_settings) {
    m_tables.Update(m_multiplex, StreamTime::zero());
}

void Muxer::Run(const Sink& sink) {
    for (std::uint64_t slot = 0; TimeOf(slot) < m_duration || !AllIsWritten(); ++slot) {
        const StreamTime now = TimeOf(slot);
        if (now < m_duration) {
            ApplyChanges(now);
            EnqueueDue(now);
        }
        WriteSlot(slot);
        if (m_writer.Written().size() >= PIECE_SIZE) {
            sink(m_writer.Take());
        }
    }
    sink(m_writer.Take());
}

StreamTime Muxer::TimeOf(std::uint64_t slot) const {
    return StreamTime(static_cast<std::int64_t>(
        TicksOf(slot * PACKET_BITS, m_settings.muxRate, StreamTime::period::den)));
}

std::uint64_t Muxer::PcrOf(std::uint64_t slot) const {
    const std::uint64_t bits = slot * PACKET_BITS + BITS_TO_PCR;
    return (m_settings.clockStart * 300 + TicksOf(bits, m_settings.muxRate, CLOCK_RATE)) %
           CLOCK_RANGE;
}

void Muxer::ApplyChanges(StreamTime now) {
    bool changed = false;
    for (; m_nextChange != m_maker.Changes().end() && m_nextChange->first <= now; ++m_nextChange) {
        m_nextChange->second(m_multiplex);
        changed = true;
    }
    if (changed) {
        Check(m_multiplex);
        m_tables.Update(m_multiplex, now);
    }
}

void Muxer::EnqueueDue(StreamTime now) {
    for (const TsPacket& packet : m_tables.Due(now)) {
        m_tablePackets.push_back({now, packet});
    }
    EnqueueVideo(now);
    for (; m_nextPackets != m_maker.Packets().end() && m_nextPackets->first <= now;
         ++m_nextPackets) {
        for (const TsPacket& packet : m_nextPackets->second) {
            m_otherPackets.push_back({now, packet});
        }
    }
}

void Muxer::EnqueueVideo(StreamTime now) {
    std::erase_if(m_videos, [this](const auto& video) {
        const Service* const service = m_multiplex.Find(video.first);
        return service == nullptr || service->codec == VideoCodec::NONE;
    });
    for (const Service& service : m_multiplex.services) {
        if (service.codec == VideoCodec::NONE) {
            continue;
        }
        VideoTrack& video =
            m_videos.try_emplace(service.id, m_maker, service.id, now, m_duration).first->second;
        while (video.NextTime() <= now) {
            for (const TsPacket& packet : video.Next(service)) {
                m_videoPackets.push_back({now, packet});
            }
        }
    }
}

void Muxer::WriteSlot(std::uint64_t slot) {
    const StreamTime now = TimeOf(slot);
    CheckWait(m_videoPackets, now, LONGEST_VIDEO_WAIT);
    CheckWait(m_tablePackets, now, LONGEST_TABLE_WAIT);
    CheckWait(m_otherPackets, now, LONGEST_OTHER_WAIT);
    if (!WritePcr(slot) && !WriteFrom(m_videoPackets) && !WriteFrom(m_tablePackets) &&
        !WriteFrom(m_otherPackets)) {
        m_writer.WriteNull();
    }
}

void Muxer::CheckWait(const Queue& queue, StreamTime now, StreamTime limit) const {
    if (!queue.empty() && now - queue.front().since > limit) {
        throw std::runtime_error("a mux rate of " + std::to_string(m_settings.muxRate) +
                                 " bit/s is too low for the stream");
    }
}

bool Muxer::WritePcr(std::uint64_t slot) {
    const StreamTime now = TimeOf(slot);
    for (const Service& service : m_multiplex.services) {
        const std::uint16_t pid = PcrPidOf(service);
        StreamTime& next = m_nextPcrs[pid];
        if (pid != NULL_PID && m_settings.pcrInterval > StreamTime::zero() && now >= next) {
            m_writer.WritePcr(pid, PcrOf(slot));
            next = now + m_settings.pcrInterval;
            return true;
        }
    }
    return false;
}

bool Muxer::WriteFrom(Queue& queue) {
    if (queue.empty()) {
        return false;
    }
    m_writer.Write(queue.front().packet);
    queue.pop_front();
    return true;
}

bool Muxer::AllIsWritten() const {
    return m_tablePackets.empty() && m_videoPackets.empty() && m_otherPackets.empty();
}

} // namespace streammaker

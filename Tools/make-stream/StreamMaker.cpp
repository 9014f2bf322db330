// SPDX-License-Identifier: Apache-2.0
#include "StreamMaker.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "Muxer.h"
#include "PesBuilder.h"
#include "StreamClock.h"

namespace streammaker {

namespace {

using ClockTime = std::chrono::duration<std::int64_t, std::ratio<1, 90'000>>;

constexpr std::uint64_t CLOCK_MASK = (1ULL << 33) - 1;

void CheckTime(StreamTime time) {
    if (time < StreamTime::zero()) {
        throw std::invalid_argument("a stream has no time ahead of its begin");
    }
}

} // namespace

StreamMaker::StreamMaker(Multiplex multiplex, const StreamSettings& settings)
    : m_multiplex(std::move(multiplex)), m_settings(settings) {
    Check(m_multiplex);
    if (settings.muxRate == 0 || settings.muxRate > HIGHEST_RATE) {
        throw std::invalid_argument("a stream needs a rate, of 100 Gbit/s at most");
    }
}

void StreamMaker::At(StreamTime time, Change change) {
    CheckTime(time);
    m_changes.emplace(time, std::move(change));
}

void StreamMaker::AddPairs(std::uint16_t serviceId, TimedCaption caption) {
    CheckTime(caption.time);
    std::vector<TimedCaption>& texts = m_captions[serviceId].texts;
    const auto place =
        std::upper_bound(texts.begin(), texts.end(), caption.time,
                         [](StreamTime at, const TimedCaption& other) { return at < other.time; });
    texts.insert(place, std::move(caption));
}

void StreamMaker::AddCaption(std::uint16_t serviceId, StreamTime time, const std::string& text,
                             CaptionStyle style) {
    AddPairs(serviceId, {time, CaptionPairs(text, style)});
}

void StreamMaker::EraseCaption(std::uint16_t serviceId, StreamTime time) {
    AddPairs(serviceId, {time, CaptionErasure()});
}

void StreamMaker::AddCcData(std::uint16_t serviceId, unsigned picture, const Bytes& triplets) {
    m_captions[serviceId].triplets[picture] = triplets;
}

void StreamMaker::AddPes(StreamTime time, std::uint16_t pid, const Bytes& payload,
                         std::uint8_t streamId) {
    PesBuilder pes;
    pes.streamId = streamId;
    pes.pts = PtsAt(time);
    pes.dataAlignment = true;
    pes.payload = payload;
    AddPackets(time, PesPackets(pid, pes.Build()));
}

void StreamMaker::AddSections(StreamTime time, std::uint16_t pid,
                              const std::vector<Bytes>& sections) {
    for (const Bytes& section : sections) {
        AddPackets(time, SectionPackets(pid, {section}));
    }
}

void StreamMaker::AddPackets(StreamTime time, const std::vector<TsPacket>& packets) {
    CheckTime(time);
    m_packets.emplace(time, packets);
}

std::uint64_t StreamMaker::PtsAt(StreamTime time) const {
    const auto later = std::chrono::duration_cast<ClockTime>(time + DELAY);
    return (m_settings.clockStart + static_cast<std::uint64_t>(later.count())) & CLOCK_MASK;
}

std::uint64_t StreamMaker::PtsOfPicture(unsigned picture) const {
    return PtsAt(PICTURE_TIME * (picture + 1)); // one is decoded ahead of its turn
}

Bytes StreamMaker::Make(StreamTime duration) const {
    Bytes bytes;
    Muxer(*this, duration).Run([&bytes](const Bytes& more) { Append(bytes, more); });
    return bytes;
}

void StreamMaker::Try(StreamTime duration) const {
    Muxer(*this, duration).Run([](const Bytes&) {});
}

void StreamMaker::Write(std::ostream& stream, StreamTime duration) const {
    Muxer(*this, duration).Run([&stream](const Bytes& bytes) {
        const std::string text(bytes.begin(), bytes.end());
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
        if (!stream) {
            throw std::runtime_error("the stream cannot be written");
        }
    });
}

const StreamMaker::Captions* StreamMaker::CaptionsOf(std::uint16_t serviceId) const {
    const auto found = m_captions.find(serviceId);
    return found == m_captions.end() ? nullptr : &found->second;
}

} // namespace streammaker

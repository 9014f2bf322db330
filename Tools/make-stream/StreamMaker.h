// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "Bytes.h"
#include "Cea608.h"
#include "Multiplex.h"
#include "Packets.h"

namespace streammaker {

/// From the begin of the stream.
using StreamTime = std::chrono::microseconds;

inline constexpr StreamTime PICTURE_TIME{40'000}; ///< 25 pictures a second

struct StreamSettings {
    std::uint64_t muxRate = 2'000'000;  ///< bits a second; null packets fill what is not needed
    std::int64_t utcStart = 1714593600; ///< seconds since 1970: the stream's time at its begin
    std::uint64_t clockStart = 0;       ///< clock reference at the begin, units of 90 kHz

    // How often each table comes; 0 stands for never. A new version comes at once.
    StreamTime pcrInterval = std::chrono::milliseconds(30);
    StreamTime patInterval = std::chrono::milliseconds(100);
    StreamTime pmtInterval = std::chrono::milliseconds(100);
    StreamTime sdtInterval = std::chrono::milliseconds(1000);
    StreamTime eitInterval = std::chrono::milliseconds(500); ///< present and following
    StreamTime scheduleInterval = std::chrono::milliseconds(1000);
    StreamTime tdtInterval = std::chrono::milliseconds(1000);
};

/// What a stream is to hold, and when: the tables as a Multiplex that may change at given times,
/// and what comes beside them. Times of less than zero are refused (std::invalid_argument). One
/// thread.
class StreamMaker {
public:
    using Change = std::function<void(Multiplex&)>;

    /// From what arrives to its presentation: what may wait for its place in the stream.
    static constexpr StreamTime DELAY = std::chrono::milliseconds(200);

    struct TimedCaption {
        StreamTime time;
        std::vector<CaptionPair> pairs;
    };
    /// What a service's pictures carry.
    struct Captions {
        std::vector<TimedCaption> texts;    // in their order
        std::map<unsigned, Bytes> triplets; // by picture
    };

    explicit StreamMaker(Multiplex multiplex, const StreamSettings& settings = {});

    /// At this time the multiplex is changed. Each table that is another one then gets the next
    /// version number; a service that is gone ends with its PMT, its events and its video, and the
    /// video of a new one begins with its next picture.
    void At(StreamTime time, Change change);

    /// A caption that begins with the picture that is shown at this time or the next one; it takes
    /// a picture for each two characters and control code. A service with captions has padding in
    /// all other pictures.
    void AddCaption(std::uint16_t serviceId, StreamTime time, const std::string& text,
                    CaptionStyle style = CaptionStyle::POP_ON);
    /// Takes the caption from the screen.
    void EraseCaption(std::uint16_t serviceId, StreamTime time);
    /// The caption data of one picture, in triplets (CcTriplets). Pictures are numbered in the
    /// order of their presentation, that at the begin of the stream is 0. Goes ahead of texts.
    void AddCcData(std::uint16_t serviceId, unsigned picture, const Bytes& triplets);

    /// A PES packet with private data whose PTS is PtsAt(time).
    void AddPes(StreamTime time, std::uint16_t pid, const Bytes& payload,
                std::uint8_t streamId = 0xBD);
    /// Sections beside those of the multiplex, each in packets of its own.
    void AddSections(StreamTime time, std::uint16_t pid, const std::vector<Bytes>& sections);
    /// Any packets. They wait while there is anything else to send, ten seconds at most.
    void AddPackets(StreamTime time, const std::vector<TsPacket>& packets);

    /// The PTS of what arrives at this time, 33 bits in units of 90 kHz: DELAY later.
    std::uint64_t PtsAt(StreamTime time) const;
    /// The PTS of a picture by its number in presentation (AddCcData).
    std::uint64_t PtsOfPicture(unsigned picture) const;

    /// The stream. Throws std::runtime_error where the mux rate is too low for it, and what Check
    /// of a Multiplex and the makers of tables throw.
    Bytes Make(StreamTime duration) const;
    /// Throws what Make would throw.
    void Try(StreamTime duration) const;
    /// The same as Make, without a copy of the whole in memory. Throws std::runtime_error when the
    /// stream that it is written to fails.
    void Write(std::ostream& stream, StreamTime duration) const;

    const Multiplex& AtBegin() const { return m_multiplex; }
    const StreamSettings& Settings() const { return m_settings; }
    const std::multimap<StreamTime, Change>& Changes() const { return m_changes; }
    const std::multimap<StreamTime, std::vector<TsPacket>>& Packets() const { return m_packets; }
    /// Null where the service has none.
    const Captions* CaptionsOf(std::uint16_t serviceId) const;

private:
    void AddPairs(std::uint16_t serviceId, TimedCaption caption);

    Multiplex m_multiplex;
    StreamSettings m_settings;
    std::multimap<StreamTime, Change> m_changes;
    std::multimap<StreamTime, std::vector<TsPacket>> m_packets;
    std::map<std::uint16_t, Captions> m_captions;
};

} // namespace streammaker

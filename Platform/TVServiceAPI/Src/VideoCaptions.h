// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Continuity.h"
#include "Counters.h"
#include "PresentationOrder.h"
#include "StartCodeScanner.h"

namespace tvservice {

/// The caption data in one PID's video, in the order of its pictures' presentation. It goes through
/// the transport packets as they come and keeps nothing but picture headers and user data.
///
/// A picture has the time stamps of the PES packet in which it begins, where it is the first to do
/// so. In MPEG-2 user data follows its picture's header; in H.264 a message stands ahead of its
/// picture's slices.
class VideoCaptions final : private UnitSink {
public:
    /// stream_type (ISO/IEC 13818-1, table 2-34) of what can be read: MPEG-1, MPEG-2, H.264.
    static bool CanRead(std::uint8_t streamType);

    /// `show` gets every picture that carries cc_data.
    VideoCaptions(std::uint8_t streamType, PresentationOrder::Show show, Counters& counters);

    void Push(const TsPacket& packet);
    void Flush();
    void Reset();

private:
    enum class Codec { Mpeg2, H264 };

    void Drop();
    std::size_t OnUnitStart(std::uint8_t firstByte) override;
    void OnUnit(Bytes unit) override;

    std::size_t OnMpeg2Start(std::uint8_t startCode);
    void OnMpeg2Unit(Bytes unit);
    std::size_t OnH264Start(std::uint8_t header);
    void OnH264Unit(Bytes unit);
    void ReadMessages(Bytes rbsp);

    void BeginPicture();
    void EndPicture();
    void AddCcData(Bytes triples);

    const Codec m_codec;
    Counters& m_counters;
    Continuity m_continuity;
    StartCodeScanner m_scanner;
    PresentationOrder m_order;

    std::vector<std::uint8_t> m_header; // of a PES packet, until it is whole
    bool m_inHeader = false;
    bool m_inData = false;              // a PES packet's header has been read
    std::optional<TimeStamp> m_nextPts; // for the next picture that begins
    std::optional<TimeStamp> m_nextDts;

    CodedPicture m_picture;
    bool m_inPicture = false;
    bool m_sliceSeen = false; // of the picture: what isn't a slice begins the next one
    std::vector<std::uint8_t> m_rbsp;
};

} // namespace tvservice

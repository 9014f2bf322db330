// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "CaptionTrack.h"
#include "Multiplex.h"
#include "Packets.h"
#include "StreamMaker.h"

namespace streammaker {

/// The video of one service, picture by picture. One thread.
class VideoTrack {
public:
    /// Keeps the reference. The first picture is the first one at or behind `begin`, the last one
    /// ahead of `end`.
    VideoTrack(const StreamMaker& maker, std::uint16_t serviceId, StreamTime begin, StreamTime end);

    /// When the next picture's packets are to be sent.
    StreamTime NextTime() const { return PICTURE_TIME * m_picture; }

    /// The packets of the next picture. Where the service's video has moved to another PID or
    /// codec they begin a group.
    std::vector<TsPacket> Next(const Service& service);

private:
    void BeginGroup(const Service& service);

    const StreamMaker& m_maker;
    const unsigned m_end;
    CaptionTrack m_captions;
    std::unique_ptr<VideoCoder> m_coder;
    VideoCodec m_codec = VideoCodec::NONE;
    std::uint16_t m_pid = 0;
    unsigned m_picture; // in coding order
    unsigned m_groupStart = 0;
    unsigned m_highest = 0;           // one above the highest number that was shown
    std::deque<CodedPicture> m_group; // what is left of it
};

} // namespace streammaker

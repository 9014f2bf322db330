// SPDX-License-Identifier: Apache-2.0
#include "VideoTrack.h"

#include <algorithm>

#include "PesBuilder.h"

namespace streammaker {

namespace {

unsigned FirstPictureFrom(StreamTime time) {
    return static_cast<unsigned>((time + PICTURE_TIME - StreamTime(1)) / PICTURE_TIME);
}

} // namespace

VideoTrack::VideoTrack(const StreamMaker& maker, std::uint16_t serviceId, StreamTime begin,
                       StreamTime end)
    : m_maker(maker), m_end(FirstPictureFrom(end)), m_captions(maker.CaptionsOf(serviceId)),
      m_picture(FirstPictureFrom(begin)) {}

// A group that is cut short leaves a gap in its presentation, behind which the next one begins.
void VideoTrack::BeginGroup(const Service& service) {
    if (service.codec != m_codec) {
        m_coder = MakeVideoCoder(service.codec);
        m_codec = service.codec;
    }
    m_pid = service.videoPid;
    m_picture = std::max(m_picture, m_highest);
    m_groupStart = m_picture;
    const unsigned left = m_end > m_picture ? m_end - m_picture : 1;
    const std::vector<CodedPicture> group = GroupOfPictures(std::min(GROUP_LENGTH, left));
    m_group.assign(group.begin(), group.end());
}

std::vector<TsPacket> VideoTrack::Next(const Service& service) {
    if (m_group.empty() || service.codec != m_codec || service.videoPid != m_pid) {
        BeginGroup(service);
    }
    const CodedPicture picture = m_group.front();
    m_group.pop_front();
    const unsigned shown = m_groupStart + picture.shownAs;
    PesBuilder pes;
    pes.streamId = STREAM_ID_VIDEO;
    pes.dataAlignment = true;
    pes.unbounded = !service.boundedVideo;
    pes.pts = m_maker.PtsOfPicture(shown);
    if (shown + 1 != m_picture) { // B pictures are shown when they are decoded
        pes.dts = m_maker.PtsAt(PICTURE_TIME * m_picture);
    }
    pes.payload = m_coder->Code(picture, m_captions.TripletsOf(shown));
    m_highest = std::max(m_highest, shown + 1);
    ++m_picture;
    AdaptationField field;
    field.randomAccess = picture.type == PictureType::I;
    return PesPackets(m_pid, pes.Build(), field);
}

} // namespace streammaker

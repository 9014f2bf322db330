// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VideoCoder.h"

namespace streammaker {

/// H.264 (ISO/IEC 14496-10), main profile, as a byte stream of its annex B.
class H264Coder : public VideoCoder {
public:
    Bytes Code(const CodedPicture& picture, const Bytes& triplets) override;

private:
    Bytes Slice(const CodedPicture& picture) const;

    unsigned m_frame = 0;      // frame_num of the next picture
    unsigned m_idrPicture = 1; // idr_pic_id of the last one: neighbours differ
};

/// The payload as NAL unit: its start code and header ahead, and a byte of 3 wherever two zeros
/// would stand before a byte below 4 (ISO/IEC 14496-10, 7.4.1).
Bytes NalUnit(std::uint8_t header, const Bytes& payload);

} // namespace streammaker

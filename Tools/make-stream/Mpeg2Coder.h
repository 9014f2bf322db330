// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BitWriter.h"
#include "VideoCoder.h"

namespace streammaker {

/// MPEG-2 video (ISO/IEC 13818-2), main profile at low level.
class Mpeg2Coder : public VideoCoder {
public:
    Bytes Code(const CodedPicture& picture, const Bytes& triplets) override;

private:
    unsigned m_groupStart = 0; // the number of the group's first picture in presentation
    unsigned m_groupLength = 0;
};

} // namespace streammaker

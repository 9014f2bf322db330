// SPDX-License-Identifier: Apache-2.0
#include "VideoCoder.h"

#include <stdexcept>

#include "H264Coder.h"
#include "Mpeg2Coder.h"

namespace streammaker {

std::uint8_t StreamTypeOf(VideoCodec codec) {
    return codec == VideoCodec::H264 ? 0x1B : 0x02;
}

std::unique_ptr<VideoCoder> MakeVideoCoder(VideoCodec codec) {
    switch (codec) {
    case VideoCodec::MPEG2:
        return std::make_unique<Mpeg2Coder>();
    case VideoCodec::H264:
        return std::make_unique<H264Coder>();
    case VideoCodec::NONE:
        break;
    }
    throw std::invalid_argument("no codec");
}

} // namespace streammaker

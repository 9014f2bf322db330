// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "Bytes.h"
#include "PictureOrder.h"

namespace streammaker {

enum class VideoCodec {
    NONE,  ///< a service without video
    MPEG2, ///< ISO/IEC 13818-2
    H264,  ///< ISO/IEC 14496-10
};

/// stream_type of a PMT (ISO/IEC 13818-1, table 2-34).
std::uint8_t StreamTypeOf(VideoCodec codec);

/// Makes a video of gray pictures, 32 by 32 at 25 a second, whose coding order isn't the order of
/// presentation. One thread.
class VideoCoder {
public:
    virtual ~VideoCoder() = default;

    /// The access unit of the group's next picture in coding order, with caption data in triplets
    /// (CcTriplets) where there are any. An I picture begins a group and comes with all headers.
    virtual Bytes Code(const CodedPicture& picture, const Bytes& triplets) = 0;
};

/// Throws std::invalid_argument for NONE.
std::unique_ptr<VideoCoder> MakeVideoCoder(VideoCodec codec);

} // namespace streammaker

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "StreamMaker.h"

namespace streammaker {

struct SampleOptions {
    StreamTime duration = std::chrono::seconds(30);
    VideoCodec codec = VideoCodec::MPEG2;
    std::uint64_t muxRate = StreamSettings().muxRate;
    std::int64_t utcStart = StreamSettings().utcStart;
    bool captions = true;
};

/// A stream of two services, "Hearth One" with captions and "Hearth Two" with DVB subtitles, whose
/// guides go on to the following event in the middle.
StreamMaker MakeSample(const SampleOptions& options);

} // namespace streammaker

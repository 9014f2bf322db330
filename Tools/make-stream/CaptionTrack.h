// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>

#include "Bytes.h"
#include "Cea608.h"
#include "StreamMaker.h"

namespace streammaker {

/// Deals the captions of a service out to its pictures, one pair to each. One thread.
class CaptionTrack {
public:
    /// Keeps the reference; null where the service has no captions.
    explicit CaptionTrack(const StreamMaker::Captions* captions);

    /// The triplets of a picture by its number in presentation. Pictures may be asked for in coding
    /// order: once a number was asked for, so can those ahead of it.
    Bytes TripletsOf(unsigned picture);

private:
    CaptionPair NextPair();

    const StreamMaker::Captions* const m_captions;
    std::deque<CaptionPair> m_waiting;
    std::size_t m_nextText = 0;
    std::vector<CaptionPair> m_dealt; // by picture
};

} // namespace streammaker

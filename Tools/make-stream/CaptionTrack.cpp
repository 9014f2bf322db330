// SPDX-License-Identifier: Apache-2.0
#include "CaptionTrack.h"

#include "CcUserData.h"

namespace streammaker {

CaptionTrack::CaptionTrack(const StreamMaker::Captions* captions) : m_captions(captions) {}

CaptionPair CaptionTrack::NextPair() {
    const StreamTime now = PICTURE_TIME * m_dealt.size();
    while (m_nextText < m_captions->texts.size() && m_captions->texts[m_nextText].time <= now) {
        const std::vector<CaptionPair>& pairs = m_captions->texts[m_nextText++].pairs;
        m_waiting.insert(m_waiting.end(), pairs.begin(), pairs.end());
    }
    if (m_waiting.empty()) {
        return CAPTION_PADDING;
    }
    const CaptionPair pair = m_waiting.front();
    m_waiting.pop_front();
    return pair;
}

Bytes CaptionTrack::TripletsOf(unsigned picture) {
    if (m_captions == nullptr) {
        return {};
    }
    const auto exact = m_captions->triplets.find(picture);
    if (exact != m_captions->triplets.end()) {
        return exact->second;
    }
    if (m_captions->texts.empty()) {
        return {};
    }
    while (m_dealt.size() <= picture) {
        m_dealt.push_back(NextPair());
    }
    return CcTriplets({m_dealt[picture]});
}

} // namespace streammaker

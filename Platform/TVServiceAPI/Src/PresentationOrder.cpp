// SPDX-License-Identifier: Apache-2.0
#include "PresentationOrder.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tvservice {

namespace {

constexpr std::size_t MOST_WAITING = 32;        // twice what H.264 allows
constexpr std::int64_t CLOCK_STEP = 10 * 90000; // a greater one is another clock

} // namespace

PresentationOrder::PresentationOrder(Rule rule, Show show)
    : m_rule(rule), m_show(std::move(show)) {}

void PresentationOrder::Push(CodedPicture picture) {
    if (m_rule == Rule::ByKind) {
        PushByKind(std::move(picture));
    } else {
        PushByTime(std::move(picture));
    }
}

void PresentationOrder::PushByKind(CodedPicture picture) {
    if (!picture.isReference) {
        m_show(picture);
        return;
    }
    Flush();
    m_waiting.push_back(std::move(picture));
}

void PresentationOrder::PushByTime(CodedPicture picture) {
    if (!picture.pts) { // behind the one that came before it
        Flush();
        m_show(picture);
        return;
    }
    const TimeStamp decoded = picture.dts.value_or(*picture.pts);
    if (m_decoded && std::abs(Distance(*m_decoded, decoded)) > CLOCK_STEP) {
        Flush();
    }
    m_decoded = decoded;
    const auto isEarlier = [](const CodedPicture& one, const CodedPicture& other) {
        return Distance(*one.pts, *other.pts) > 0;
    };
    m_waiting.insert(std::upper_bound(m_waiting.begin(), m_waiting.end(), picture, isEarlier),
                     std::move(picture));
    ShowUpTo(decoded);
    while (m_waiting.size() > MOST_WAITING) {
        ShowFirst();
    }
}

void PresentationOrder::ShowUpTo(TimeStamp time) {
    while (!m_waiting.empty() && Distance(*m_waiting.front().pts, time) >= 0) {
        ShowFirst();
    }
}

void PresentationOrder::ShowFirst() {
    const CodedPicture picture = std::move(m_waiting.front());
    m_waiting.pop_front();
    m_show(picture);
}

void PresentationOrder::Flush() {
    while (!m_waiting.empty()) {
        ShowFirst();
    }
    m_decoded.reset();
}

} // namespace tvservice

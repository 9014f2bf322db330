// SPDX-License-Identifier: Apache-2.0
#include "PresentationOrder.h"

#include <algorithm>
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
    const bool isSecondField = m_waiting.size() == 1 && m_waiting[0].picture.frame == picture.frame;
    if (!isSecondField) {
        Flush();
    }
    m_waiting.push_back({0, std::move(picture)});
}

void PresentationOrder::PushByTime(CodedPicture picture) {
    if (picture.pts) {
        const TimeStamp decoded = picture.dts.value_or(*picture.pts);
        const std::int64_t step = m_decoded ? Distance(*m_decoded, decoded) : 0;
        if (step < 0 || step > CLOCK_STEP) {
            Flush();
        }
        m_decoded = decoded;
        m_shown = picture.pts;
    }
    if (!m_decoded || !m_shown) { // none has had a time yet
        m_show(picture);
        return;
    }
    const auto isEarlier = [](TimeStamp time, const Waiting& other) {
        return Distance(time, other.time) > 0;
    };
    m_waiting.insert(std::upper_bound(m_waiting.begin(), m_waiting.end(), *m_shown, isEarlier),
                     {*m_shown, std::move(picture)});
    ShowUpTo(*m_decoded);
    while (m_waiting.size() > MOST_WAITING) {
        ShowFirst();
    }
}

void PresentationOrder::ShowUpTo(TimeStamp time) {
    while (!m_waiting.empty() && Distance(m_waiting.front().time, time) >= 0) {
        ShowFirst();
    }
}

void PresentationOrder::ShowFirst() {
    const Waiting first = std::move(m_waiting.front());
    m_waiting.pop_front();
    m_show(first.picture);
}

void PresentationOrder::Flush() {
    while (!m_waiting.empty()) {
        ShowFirst();
    }
    Clear();
}

void PresentationOrder::Clear() {
    m_waiting.clear();
    m_decoded.reset();
    m_shown.reset();
}

} // namespace tvservice

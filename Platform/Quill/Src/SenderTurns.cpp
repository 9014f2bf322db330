// SPDX-License-Identifier: Apache-2.0
#include "SenderTurns.h"

#include <utility>

namespace Quill {

void SenderTurns::Add(std::vector<Incoming>& taken) {
    for (Incoming& incoming : taken) {
        const auto [line, isNew] = m_lines.try_emplace(incoming.peer);
        if (isNew) {
            m_newcomers.push_back(line);
        }
        ++m_count;
        m_size += incoming.size;
        line->second.push_back(std::move(incoming));
    }
    taken.clear();
}

Incoming SenderTurns::TakeNext() {
    m_wasNewcomer = !m_newcomers.empty() && (m_others.empty() || !m_wasNewcomer);
    auto& turns = m_wasNewcomer ? m_newcomers : m_others;
    const Lines::iterator line = turns.front();
    turns.pop_front();
    Incoming next = std::move(line->second.front());
    line->second.pop_front();
    --m_count;
    m_size -= next.size;
    if (line->second.empty()) {
        m_lines.erase(line);
    } else {
        m_others.push_back(line);
    }
    return next;
}

void SenderTurns::Clear() {
    *this = SenderTurns();
}

} // namespace Quill

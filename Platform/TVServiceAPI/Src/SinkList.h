// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tvservice {

/// A list whose entries may be added and removed while it is gone through: what is removed isn't
/// called any more, what is added is called from the next time on. One thread; owns nothing.
template <typename Sink>
class SinkList {
public:
    bool IsEmpty() const {
        if (m_sinks.empty()) {
            return true;
        }
        return std::all_of(m_sinks.begin(), m_sinks.end(), [](Sink* sink) { return !sink; });
    }

    void Add(Sink& sink) { m_sinks.push_back(&sink); }

    void Remove(Sink& sink) {
        std::replace(m_sinks.begin(), m_sinks.end(), &sink, static_cast<Sink*>(nullptr));
        if (!m_isWalked) {
            Compact();
        }
    }

    template <typename Call>
    void ForEach(const Call& call) {
        m_isWalked = true;
        const std::size_t size = m_sinks.size();
        for (std::size_t at = 0; at < size; ++at) {
            if (m_sinks[at] != nullptr) {
                call(*m_sinks[at]);
            }
        }
        m_isWalked = false;
        if (size > 0) {
            Compact();
        }
    }

private:
    void Compact() { std::erase(m_sinks, nullptr); }

    std::vector<Sink*> m_sinks;
    bool m_isWalked = false;
};

} // namespace tvservice

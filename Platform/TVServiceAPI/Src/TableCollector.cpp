// SPDX-License-Identifier: Apache-2.0
#include "TableCollector.h"

#include <algorithm>

namespace tvservice {

void TableCollector::Clear() {
    *this = TableCollector();
}

const std::vector<SectionBytes>* TableCollector::Add(const Section& section) {
    if (!section.IsLong() || !section.IsIntact() || !section.IsCurrent() ||
        section.Number() > section.LastNumber()) {
        return nullptr;
    }
    const Bytes bytes = section.Whole();
    const std::size_t count = std::size_t{section.LastNumber()} + 1;
    bool isOther = m_version != section.Version() || m_sections.size() != count;
    if (!isOther && !m_sections[section.Number()].empty()) {
        if (std::equal(bytes.begin(), bytes.end(), m_sections[section.Number()].begin(),
                       m_sections[section.Number()].end())) {
            return nullptr;
        }
        isOther = true; // changed, and its version forgotten
    }
    if (isOther) {
        m_version = section.Version();
        m_sections.assign(count, {});
        m_missing = count;
    }
    m_sections[section.Number()].assign(bytes.begin(), bytes.end());
    return --m_missing == 0 ? &m_sections : nullptr;
}

} // namespace tvservice

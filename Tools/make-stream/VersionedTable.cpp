// SPDX-License-Identifier: Apache-2.0
#include "VersionedTable.h"

#include <utility>

namespace streammaker {

bool VersionedTable::Update(const Maker& make) {
    constexpr unsigned VERSIONS = 32;
    Sections plain = make(0);
    if (plain == m_plain) {
        return false;
    }
    if (!m_plain.empty()) {
        m_version = static_cast<std::uint8_t>((m_version + 1U) % VERSIONS);
    }
    m_plain = std::move(plain);
    m_current = make(m_version);
    return true;
}

} // namespace streammaker

// SPDX-License-Identifier: Apache-2.0
#include "SectionMatcher.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tvservice {

namespace {

// A stream that carries more different sections than this shows old ones again.
constexpr std::size_t MOST_SEEN = 65536;

} // namespace

SectionMatcher::SectionMatcher(const TCSectionCriteriaHelper& criteria)
    : m_values(std::bit_cast<Words>(criteria.Values())),
      m_masks(std::bit_cast<Words>(criteria.Masks())), m_crcCheck(criteria.CrcCheck()),
      m_onChangeOnly(criteria.OnChangeOnly()) {
    for (std::size_t at = 0; at < criteria.Masks().size(); ++at) {
        if (criteria.Masks()[at] != 0) {
            m_leastBytes = at + 1;
        }
    }
}

bool SectionMatcher::Matches(const Section& section) {
    return BytesMatch(section.Whole()) && (section.IsIntact() || !m_crcCheck) &&
           (!m_onChangeOnly || !section.IsIntact() || IsNew(section));
}

bool SectionMatcher::BytesMatch(Bytes bytes) const {
    if (bytes.size() < m_leastBytes) {
        return false;
    }
    Words words{};
    std::memcpy(words.data(), bytes.data(), std::min(bytes.size(), sizeof(words)));
    std::uint64_t differences = 0;
    for (std::size_t at = 0; at < WORDS; ++at) {
        differences |= (words[at] ^ m_values[at]) & m_masks[at];
    }
    return differences == 0;
}

bool SectionMatcher::IsNew(const Section& section) {
    std::uint64_t key = static_cast<std::uint64_t>(section.TableId()) << 24;
    std::uint32_t stamp = 0;
    if (section.IsLong()) {
        // What is announced for later is repeated beside what holds.
        key |= static_cast<std::uint64_t>(section.IsCurrent() ? 1 : 0) << 32;
        key |= static_cast<std::uint64_t>(section.Extension()) << 8 | section.Number();
        stamp = section.Version();
    } else {
        stamp = section.Fingerprint();
    }
    if (m_seen.size() >= MOST_SEEN) {
        m_seen.clear();
    }
    const auto [entry, isFirst] = m_seen.try_emplace(key, stamp);
    if (!isFirst && entry->second == stamp) {
        return false;
    }
    entry->second = stamp;
    return true;
}

} // namespace tvservice

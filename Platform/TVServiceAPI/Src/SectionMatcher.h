// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <unordered_map>

#include "Section.h"
#include "TCSectionCriteriaHelper.h"

namespace tvservice {

/// Decides which sections a filter's criteria let through. One thread.
class SectionMatcher {
public:
    explicit SectionMatcher(const TCSectionCriteriaHelper& criteria);

    /// In the order of the stream: with "on change only" the answer depends on what came before.
    bool Matches(const Section& section);

private:
    static constexpr std::size_t WORDS = TCSectionCriteriaHelper::COMPARED_BYTES / 8;
    using Words = std::array<std::uint64_t, WORDS>;

    bool BytesMatch(Bytes bytes) const;
    bool IsNew(const Section& section);

    Words m_values;
    Words m_masks;
    std::size_t m_leastBytes = 0; // that a section must have to be compared
    const bool m_crcCheck;
    const bool m_onChangeOnly;
    // Whether it holds, its table, extension and number: its stamp. Intact ones.
    std::unordered_map<std::uint64_t, std::uint32_t> m_seen;
};

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "Tables.h"

namespace tvservice {

/// Collects the sections of one table until a version of it is whole.
class TableCollector {
public:
    /// The sections of the table in their order, where this one completes a version that hasn't
    /// been returned yet; else nothing. Takes only intact sections that are current.
    const std::vector<SectionBytes>* Add(const Section& section);

    /// The next version is new, whatever its number.
    void Clear();

private:
    int m_version = -1;
    std::vector<SectionBytes> m_sections; // empty where one is missing
    std::size_t m_missing = 0;
};

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>

#include "TableSections.h"

namespace streammaker {

/// A table whose version number goes up when its sections are other ones than before. One thread.
class VersionedTable {
public:
    /// Makes the sections for a version.
    using Maker = std::function<Sections(std::uint8_t version)>;

    /// Returns whether they are new.
    bool Update(const Maker& make);

    const Sections& Current() const { return m_current; }

private:
    Sections m_plain; // as version 0
    Sections m_current;
    std::uint8_t m_version = 0;
};

} // namespace streammaker

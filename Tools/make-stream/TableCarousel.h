// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "Multiplex.h"
#include "Packets.h"
#include "StreamMaker.h"
#include "VersionedTable.h"

namespace streammaker {

/// The tables of a stream, each of which comes again and again. One thread.
class TableCarousel {
public:
    /// Keeps the reference.
    explicit TableCarousel(const StreamSettings& settings) : m_settings(settings) {}

    /// The tables are those of the multiplex from now on; what has changed is due at once.
    void Update(const Multiplex& multiplex, StreamTime now);

    /// The packets of the tables whose turn has come.
    std::vector<TsPacket> Due(StreamTime now);

private:
    enum class Kind { PAT, PMT, SDT, PRESENT_FOLLOWING, SCHEDULE }; // in the order of sending

    struct Round {
        std::uint16_t pid = 0;
        StreamTime interval{0};
        bool active = false;
        StreamTime next{0};
        VersionedTable table;
    };

    void Set(Kind kind, std::uint16_t serviceId, std::uint16_t pid, StreamTime now,
             const VersionedTable::Maker& make);
    StreamTime IntervalOf(Kind kind) const;

    const StreamSettings& m_settings;
    std::map<std::pair<Kind, std::uint16_t>, Round> m_rounds; // the service, or 0
    StreamTime m_nextTdt{0};
};

} // namespace streammaker

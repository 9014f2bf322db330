// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "Counters.h"
#include "TsPacket.h"

namespace tvservice {

/// Follows the continuity_counter of one PID (ISO/IEC 13818-1, 2.4.3.3).
class Continuity {
public:
    enum class Step {
        None, ///< a packet without payload, which counts nothing
        Next,
        Repeated, ///< the same packet again, which carries nothing new
        Gap,      ///< packets are missing
        Jump,     ///< what follows continues nothing, and the stream has said so
    };

    /// For each packet, in their order.
    Step Follow(const TsPacket& packet) {
        m_isAnnounced = m_isAnnounced || packet.discontinuity;
        if (packet.payload.empty()) {
            return Step::None;
        }
        const bool isFirst = m_last < 0;
        // Sixteen packets further the counter is the same: a repetition has the same bytes too.
        const bool isSame =
            m_last == packet.continuity && std::ranges::equal(m_payload, packet.payload);
        const bool isNext = ((m_last + 1) & 0x0F) == packet.continuity;
        const bool isAnnounced = m_isAnnounced;
        m_isAnnounced = false;
        m_last = packet.continuity;
        m_payload.assign(packet.payload.begin(), packet.payload.end());
        if (!isFirst && isSame && !isAnnounced && !m_isRepeated) {
            m_isRepeated = true;
            return Step::Repeated;
        }
        m_isRepeated = false;
        if (isFirst || isNext) {
            return Step::Next;
        }
        return isAnnounced ? Step::Jump : Step::Gap;
    }

    /// What an assembler makes of a packet.
    enum class Use {
        None,
        Continue, ///< it goes on where the last one ended
        Begin,    ///< what is under way is lost
    };

    /// For each packet, in their order, in the place of Follow; counts the gaps.
    Use Judge(const TsPacket& packet, Counters& counters) {
        switch (Follow(packet)) {
        case Step::None:
        case Step::Repeated:
            return Use::None;
        case Step::Gap:
            ++counters.gaps;
            return Use::Begin;
        case Step::Jump:
            return Use::Begin;
        case Step::Next:
            break;
        }
        return Use::Continue;
    }

    void Reset() { *this = Continuity(); }

private:
    int m_last = -1;
    std::vector<std::uint8_t> m_payload; // of the last packet that had one
    bool m_isRepeated = false;
    bool m_isAnnounced = false; // by discontinuity_indicator, since the last payload
};

} // namespace tvservice

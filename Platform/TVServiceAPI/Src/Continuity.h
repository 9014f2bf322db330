// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TsPacket.h"

namespace tvservice {

/// Follows the continuity_counter of one PID (ISO/IEC 13818-1, 2.4.3.3).
class Continuity {
public:
    enum class Step {
        Next,
        Repeated, ///< the same packet again, which carries nothing new
        Gap,
    };

    /// For each packet with payload, in their order.
    Step Follow(const TsPacket& packet) {
        const bool isFirst = m_last < 0;
        const bool isRepeated = m_last == packet.continuity && !packet.discontinuity && !m_repeated;
        const bool isNext = ((m_last + 1) & 0x0F) == packet.continuity;
        m_last = packet.continuity;
        if (!isFirst && isRepeated) {
            m_repeated = true;
            return Step::Repeated;
        }
        m_repeated = false;
        return isFirst || isNext || packet.discontinuity ? Step::Next : Step::Gap;
    }

    void Reset() { *this = Continuity(); }

private:
    int m_last = -1;
    bool m_repeated = false;
};

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IProgramSubscriber.h"

/// Which changes of which programs somebody wants. Without further words: all.
class TCProgramFilteringItem {
public:
    /// The programs of this key (MakeServiceKey); a part of it that is 0 stands for any.
    void SetService(unsigned long long serviceKey) { m_service = serviceKey; }

    /// Changes of this type; each call adds one. Without a call every type comes.
    void AddChangeType(EProgramChangeType type) { m_changes |= 1U << static_cast<unsigned>(type); }

    /// Only programs that are free to air, as one is of which no SDT has told yet. Where it turns
    /// out to be scrambled nothing more is told of it, not even that it has gone.
    void SetFreeToAirOnly(bool freeToAirOnly) { m_freeToAirOnly = freeToAirOnly; }

    unsigned long long Service() const { return m_service; }
    bool Wants(EProgramChangeType type) const {
        return m_changes == 0 || (m_changes >> static_cast<unsigned>(type) & 1U) != 0;
    }
    bool FreeToAirOnly() const { return m_freeToAirOnly; }

private:
    unsigned long long m_service = 0;
    unsigned int m_changes = 0;
    bool m_freeToAirOnly = false;
};

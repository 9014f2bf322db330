// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "BusActor.h"

/// One who hears the soak's notifications: their numbers must follow one another, but across the
/// bus's absence, where some may be lost. The counts may be read by any thread.
class NotificationListener : public BusActor {
public:
    NotificationListener(int number, unsigned seed, const BusTimes& times)
        : BusActor("listener " + std::to_string(number), seed, times) {}

    int Heard() const { return m_heard; }
    int Last() const { return m_last; }
    /// Those that were missed between the first one and the last.
    int Lost() const { return m_lost; }

private:
    void OnConnect(RawClient& client) override;
    void Use(RawClient& client) override;
    void Judge(int number);

    bool m_mayMiss = true;
    std::atomic<int> m_heard{0};
    std::atomic<int> m_last{0};
    std::atomic<int> m_lost{0};
};

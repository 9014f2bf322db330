// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <optional>

#include "IPESDataSubscriber.h"
#include "Settings.h"
#include "SubscriptionTable.h"

namespace tvservice {

/// The subscriptions by their ids; PesDelivery works on them. Any thread.
class PESDataSubscriber final : public IPESDataSubscriber {
public:
    struct Subscription {
        Subscription(Callback subscribed, void* theirs, std::optional<std::uint16_t> selected)
            : callback(subscribed), user(theirs), pid(selected) {}
        const Callback callback;
        void* const user;
        const std::optional<std::uint16_t> pid; // nothing: those of the settings
        CallbackGate gate;
    };
    using Table = SubscriptionTable<int, Subscription>;

    PESDataSubscriber(ScreenKey screen, WakeUp wakeUp);

    int SubscribePESData(Callback callback, void* user, int& id) override;
    int SelectPES(int id, unsigned short pid) override;
    int UnsubscribePESData(int id) override;

    const ScreenKey& Screen() const { return m_screen; }
    Table& Subscriptions() { return m_table; }
    void Close() { m_table.CloseAll(); }

private:
    const ScreenKey m_screen;
    Table m_table;
    std::atomic<int> m_nextId{1};
};

} // namespace tvservice

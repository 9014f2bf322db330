// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "IDataSubscriber.h"
#include "Settings.h"
#include "SubscriptionTable.h"

namespace tvservice {

/// The subscriptions by their ids; CaptionDelivery works on them. Any thread.
class DataSubscriber final : public IDataSubscriber {
public:
    struct Subscription {
        Subscription(Callback subscribed, void* theirs) : callback(subscribed), user(theirs) {}
        const Callback callback;
        void* const user;
        CallbackGate gate;
    };
    using Table = SubscriptionTable<int, Subscription>;

    DataSubscriber(ScreenKey screen, WakeUp wakeUp);

    int SubscribeData(Callback callback, void* user, int& id) override;
    int UnsubscribeData(int id) override;

    const ScreenKey& Screen() const { return m_screen; }
    Table& Subscriptions() { return m_table; }
    void Close() { m_table.CloseAll(); }

private:
    const ScreenKey m_screen;
    Table m_table;
    std::atomic<int> m_nextId{1};
};

} // namespace tvservice

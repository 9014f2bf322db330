// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <tuple>
#include <vector>

#include "ISignalSubscriber.h"
#include "Settings.h"
#include "SubscriptionTable.h"

namespace tvservice {

/// Any thread; Sync and Raise are the library's thread's.
class SignalSubscriber final : public ISignalSubscriber {
public:
    using Callback = int (*)(ESignalType, EProfile, unsigned short, TSSignalData, void*);

    SignalSubscriber(Callback callback, WakeUp wakeUp);

    int SubscribeSignal(ESignalType signal, void* user, EProfile profile,
                        unsigned short screen) override;
    int UnsubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen) override;

    /// Takes over what has changed.
    void Sync() { m_table.Take(m_list); }
    void Raise(ESignalType signal, const std::vector<ScreenKey>& screens, TSSignalData data);
    void Close() { m_table.CloseAll(); }

private:
    struct Subscription {
        explicit Subscription(void* subscribed) : user(subscribed) {}
        void* const user;
        CallbackGate gate;
    };
    using Key = std::tuple<ESignalType, EProfile, unsigned short>;
    using Table = SubscriptionTable<Key, Subscription>;

    const Callback m_callback;
    Table m_table;
    Table::List m_list; // the library's thread's
};

} // namespace tvservice

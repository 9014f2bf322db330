// SPDX-License-Identifier: Apache-2.0
#include "SignalSubscriber.h"

#include <algorithm>

namespace tvservice {

SignalSubscriber::SignalSubscriber(Callback callback, WakeUp wakeUp)
    : m_callback(callback), m_table(std::move(wakeUp)) {}

int SignalSubscriber::SubscribeSignal(ESignalType signal, void* user, EProfile profile,
                                      unsigned short screen) {
    if (signal < SIGNAL_STREAM_FOUND || signal > SIGNAL_END_OF_FILE || profile < PROFILE_NONE ||
        profile > PROFILE_RECORD) {
        return 0;
    }
    m_table.Set({signal, profile, screen}, std::make_shared<Subscription>(user));
    return 1;
}

int SignalSubscriber::UnsubscribeSignal(ESignalType signal, EProfile profile,
                                        unsigned short screen) {
    return m_table.End({signal, profile, screen}) ? 1 : 0;
}

void SignalSubscriber::Raise(ESignalType signal, const std::vector<ScreenKey>& screens,
                             TSSignalData data) {
    Sync();
    for (const auto& [key, subscription] : m_list) {
        const auto& [wanted, profile, screen] = key;
        const ScreenKey place{profile, screen};
        if (wanted != signal || std::find(screens.begin(), screens.end(), place) == screens.end()) {
            continue;
        }
        subscription->gate.Pass([&, user = subscription->user] {
            m_callback(signal, place.profile, static_cast<unsigned short>(place.screen), data,
                       user);
        });
    }
}

} // namespace tvservice

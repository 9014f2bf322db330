// SPDX-License-Identifier: Apache-2.0
#include "DataSubscriber.h"

namespace tvservice {

DataSubscriber::DataSubscriber(ScreenKey screen, WakeUp wakeUp)
    : m_screen(screen), m_table(std::move(wakeUp)) {}

int DataSubscriber::SubscribeData(Callback callback, void* user, int& id) {
    if (callback == nullptr) {
        return 0;
    }
    id = m_nextId++; // ahead of the first callback
    m_table.Set(id, std::make_shared<Subscription>(callback, user));
    return 1;
}

int DataSubscriber::UnsubscribeData(int id) {
    return m_table.End(id) ? 1 : 0;
}

} // namespace tvservice

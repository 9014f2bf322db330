// SPDX-License-Identifier: Apache-2.0
#include "PESDataSubscriber.h"

#include "TsPacket.h"

namespace tvservice {

PESDataSubscriber::PESDataSubscriber(ScreenKey screen, WakeUp wakeUp)
    : m_screen(screen), m_table(std::move(wakeUp)) {}

int PESDataSubscriber::SubscribePESData(Callback callback, void* user, int& id) {
    if (callback == nullptr) {
        return 0;
    }
    id = m_nextId++; // ahead of the first callback
    m_table.Set(id, std::make_shared<Subscription>(callback, user, std::nullopt));
    return 1;
}

int PESDataSubscriber::SelectPES(int id, unsigned short pid) {
    const std::shared_ptr<Subscription> subscription = m_table.Find(id);
    if (!subscription || pid >= PID_COUNT) {
        return 0;
    }
    const auto selected =
        std::make_shared<Subscription>(subscription->callback, subscription->user, pid);
    return m_table.Replace(id, selected) ? 1 : 0;
}

int PESDataSubscriber::UnsubscribePESData(int id) {
    return m_table.End(id) ? 1 : 0;
}

} // namespace tvservice

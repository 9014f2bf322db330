// SPDX-License-Identifier: Apache-2.0
#include "TVSCaptionEventProxy.h"

#include <cstddef>

#include "EventDelivery.h"
#include "Probe.h"
#include "TVServiceAPI.h"

namespace marrow::evt {

template class IListenable<TSCaption>; // its table stands in the executable

// Where a device's library has them. The class has virtual operations: compilers allow the question
// and want to be asked nicely.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(sizeof(void*) != 4 ||
              (offsetof(TSCaption, word_a) == 4 && offsetof(TSCaption, byte_b) == 8 &&
               offsetof(TSCaption, word_c) == 12 && offsetof(TSCaption, bytes) == 16));
#pragma GCC diagnostic pop

TVSCaptionEventProxy& TVSCaptionEventProxy::Get() {
    static TVSCaptionEventProxy instance;
    return instance;
}

TVSCaptionEventProxy::TVSCaptionEventProxy() {
    TVServiceAPI::CreateDataSubscriber(PROFILE_MAIN, 0, &m_subscriber);
}

TVSCaptionEventProxy::~TVSCaptionEventProxy() {
    m_subscriber = nullptr;
    TVServiceAPI::DestroyDataSubscriber();
}

bool TVSCaptionEventProxy::Subscribe(IListener* listener) {
    const base::MutexLock lock(m_mutex);
    if (!m_listeners.empty() || m_subscriber == nullptr) {
        return false;
    }
    m_subscriber->SubscribeData(CaptionCallback, this, m_subscription_id);
    m_listeners.push_back(listener);
    return true;
}

bool TVSCaptionEventProxy::Unsubscribe(IListener* listener) {
    const base::MutexLock lock(m_mutex);
    if (m_listeners.size() != 1 || m_subscriber == nullptr) {
        return false;
    }
    m_subscriber->UnsubscribeData(m_subscription_id); // whoever is asking
    std::erase(m_listeners, listener);
    return true;
}

void TVSCaptionEventProxy::CaptionCallback(TSCaption& caption, void* user) {
    HEARTHD_PROBE(hearthd, event_in, "caption");
    auto& proxy = *static_cast<TVSCaptionEventProxy*>(user);
    const base::MutexLock lock(proxy.m_mutex);
    for (IListener* listener : proxy.m_listeners) {
        Deliver<TSCaption>(listener, caption);
    }
}

} // namespace marrow::evt

// SPDX-License-Identifier: Apache-2.0
#include "TVSPESEventProxy.h"

#include <algorithm>
#include <cstddef>

#include "EventDelivery.h"
#include "PayloadCopy.h"
#include "Probe.h"
#include "TVServiceAPI.h"

namespace marrow::evt {

template class IListenable<tvs_pes_event_arg_t>; // its table stands in the executable

// Where a device's library has them.
static_assert(offsetof(TSPESData, word_a) == 12 && offsetof(TSPESData, short_b) == 16 &&
              offsetof(TSPESData, word_c) == 20 && offsetof(TSPESData, bytes) == 24);

TVSPESEventProxy& TVSPESEventProxy::Get() {
    static TVSPESEventProxy instance;
    return instance;
}

TVSPESEventProxy::TVSPESEventProxy() {
    TVServiceAPI::CreatePESDataSubscriber(PROFILE_MAIN, 0, &m_subscriber);
}

TVSPESEventProxy::~TVSPESEventProxy() {
    TVServiceAPI::DestroyPESDataSubscriber();
}

void TVSPESEventProxy::Subscribe(IListener* listener) {
    const base::MutexLock lock(m_mutex);
    if (m_listeners.empty()) {
        m_subscriber->SubscribePESData(PesDataCallback, this, m_subscription_id);
    }
    m_listeners.push_back(listener);
}

void TVSPESEventProxy::Unsubscribe(IListener* listener) {
    const base::MutexLock lock(m_mutex);
    if (m_listeners.size() == 1) { // whoever is asking
        m_subscriber->UnsubscribePESData(m_subscription_id);
    }
    const auto found = std::find(m_listeners.begin(), m_listeners.end(), listener);
    if (found != m_listeners.end()) {
        m_listeners.erase(found);
    }
}

void TVSPESEventProxy::PesDataCallback(TSPESData& data, void* user) {
    HEARTHD_PROBE(hearthd, event_in, "packet");
    auto& proxy = *static_cast<TVSPESEventProxy*>(user);
    const base::MutexLock lock(proxy.m_mutex);
    const tvs_pes_event_arg_t event{data.word_a, data.short_b, data.word_c,
                                    CopyPayload(data.bytes.data(), data.bytes.size()),
                                    static_cast<int>(data.bytes.size())};
    for (IListener* listener : proxy.m_listeners) {
        Deliver(listener, event);
    }
}

} // namespace marrow::evt

// SPDX-License-Identifier: Apache-2.0
#include "TVSEventProxy.h"

#include "Log.h"
#include "Probe.h"
#include "SubscriptionManagerImpl.h"
#include "TVServiceAPI.h"

namespace marrow::evt {

template class IListenable<tvs_event_args_t>; // its table stands in the executable

template class SubscriptionManager<tvs_event_t, tvs_event_args_t>;

// As a device's library passes them.
static_assert(sizeof(EProfile) == 4 && sizeof(ESignalType) == 4 && sizeof(TSSignalData) == 8);

TVSEventProxy& TVSEventProxy::Get() {
    static TVSEventProxy instance;
    return instance;
}

TVSEventProxy::TVSEventProxy() {
    TVServiceAPI::CreateSignalSubscriber(SignalCallback, &m_subscriber);
}

TVSEventProxy::~TVSEventProxy() {
    TVServiceAPI::DestroySignalSubscriber();
    m_subscriber = nullptr;
}

void TVSEventProxy::Subscribe(ESignalType signal, EProfile profile, unsigned short screen,
                              IListener* listener) {
    SubscriptionManager::Subscribe({profile, screen, signal}, listener);
}

void TVSEventProxy::Unsubscribe(ESignalType signal, EProfile profile, unsigned short screen,
                                IListener* listener) {
    SubscriptionManager::Unsubscribe({profile, screen, signal}, listener);
}

bool TVSEventProxy::OnFirstSubCb(tvs_event_t key) {
    LOGD("Subscribe for %d [profile %d, screen %d] to the platform", key.signal, key.profile,
         key.screen);
    return m_subscriber->SubscribeSignal(key.signal, this, key.profile, key.screen) == 1;
}

bool TVSEventProxy::OnLastUnsubCb(tvs_event_t key) {
    LOGD("No subscribers for %d [profile %d, screen %d]. Unsubscribe from platform.", key.signal,
         key.profile, key.screen);
    return m_subscriber->UnsubscribeSignal(key.signal, key.profile, key.screen) == 1;
}

int TVSEventProxy::SignalCallback(ESignalType signal, EProfile profile, unsigned short screen,
                                  TSSignalData data, void* user) {
    HEARTHD_PROBE(hearthd, event_in, "signal");
    LOGI("Handle TVS callback with %d signal", signal);
    tvs_event_args_t args{{profile, screen, signal}, data};
    static_cast<TVSEventProxy*>(user)->NotifyAll(args.event, args);
    return 0;
}

} // namespace marrow::evt

// SPDX-License-Identifier: Apache-2.0
#include "TVSSectionEventProxy.h"

#include "EventDelivery.h"
#include "PayloadCopy.h"
#include "Probe.h"
#include "TVServiceAPI.h"

namespace marrow::evt {

template class IListenable<tvs_section_event_arg_t>; // its table stands in the executable

TVSSectionEventProxy& TVSSectionEventProxy::Get() {
    static TVSSectionEventProxy instance;
    return instance;
}

TVSSectionEventProxy::TVSSectionEventProxy() {
    TVServiceAPI::CreateSectionSubscriber(SectionCallback, PROFILE_MAIN, 0, &m_subscriber);
}

TVSSectionEventProxy::~TVSSectionEventProxy() {
    TVServiceAPI::DestroySectionSubscriber();
}

bool TVSSectionEventProxy::Subscribe(TCSectionCriteriaHelper const& criteria, IListener* listener,
                                     int& id) {
    const base::MutexLock lock(m_mutex);
    id = GetNextSubscriberId();
    int handle = 0;
    if (m_subscriber->SubscribeSection(id, criteria, handle) < 1) {
        id = -1;
        return false;
    }
    m_subscribers[id] = {handle, listener};
    return true;
}

bool TVSSectionEventProxy::Unsubscribe(int id) {
    const base::MutexLock lock(m_mutex);
    const auto found = m_subscribers.find(id);
    if (found == m_subscribers.end()) {
        return false;
    }
    if (m_subscriber->UnsubscribeSection(found->second.handle) < 1) {
        return false;
    }
    m_subscribers.erase(found);
    return true;
}

int TVSSectionEventProxy::GetNextSubscriberId() {
    while (m_subscribers.contains(m_next_id)) {
        ++m_next_id;
    }
    return m_next_id;
}

// The platform promises that no callback follows a successful UnsubscribeSection, and nothing else
// keeps an unknown id away: it gets an entry without a listener, and the delivery falls over that.
void TVSSectionEventProxy::SectionCallback(bool flag, unsigned short size, unsigned char* data,
                                           int id) {
    HEARTHD_PROBE(hearthd, event_in, "section");
    TVSSectionEventProxy& proxy = Get();
    IListener* listener = nullptr;
    {
        const base::MutexLock lock(proxy.m_mutex);
        listener = proxy.m_subscribers[id].listener;
    }
    Deliver<tvs_section_event_arg_t>(listener, {flag, size, CopyPayload(data, size), id});
}

} // namespace marrow::evt

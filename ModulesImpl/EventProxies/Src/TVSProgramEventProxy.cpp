// SPDX-License-Identifier: Apache-2.0
#include "TVSProgramEventProxy.h"

#include <utility>

#include "EventDelivery.h"
#include "Probe.h"
#include "TVServiceAPI.h"

namespace marrow::evt {

template class IListenable<tvs_program_event_arg_t>; // its table stands in the executable

TVSProgramEventProxy& TVSProgramEventProxy::Get() {
    static TVSProgramEventProxy instance;
    return instance;
}

TVSProgramEventProxy::TVSProgramEventProxy() {
    TVServiceAPI::CreateProgramSubscriber(ProgramCallback, &m_subscriber);
}

TVSProgramEventProxy::~TVSProgramEventProxy() {
    TVServiceAPI::DestroyProgramSubscriber();
}

bool TVSProgramEventProxy::Subscribe(IListener* listener, TCProgramFilteringItem const& filter,
                                     int& id) {
    const base::MutexLock lock(m_mutex);
    return Keep(m_subscriber->SubscribeProgram(filter, id), listener, id);
}

bool TVSProgramEventProxy::SubscribeListPF(IListener* listener, unsigned long long const& list,
                                           ESubscribeType type, int param, int& id) {
    const base::MutexLock lock(m_mutex);
    return Keep(m_subscriber->SubscribeProgramListPF(param, list, type, id), listener, id);
}

bool TVSProgramEventProxy::SubscribeList(IListener* listener, unsigned long long const& list,
                                         unsigned int first, unsigned int second,
                                         ESubscribeType type, int param, int& id) {
    const base::MutexLock lock(m_mutex);
    return Keep(m_subscriber->SubscribeProgramList(param, list, first, second, type, id), listener,
                id);
}

bool TVSProgramEventProxy::Keep(int result, IListener* listener, int& id) {
    if (result < 1) {
        id = -1;
        return false;
    }
    m_subscribers[id] = listener;
    return true;
}

void TVSProgramEventProxy::Unsubscribe(int id) {
    const base::MutexLock lock(m_mutex);
    m_subscribers.erase(id);
}

void TVSProgramEventProxy::ProgramCallback(EProgramChangeType type, TCProgramData* data, int param,
                                           int id) {
    HEARTHD_PROBE(hearthd, event_in, "program");
    TVSProgramEventProxy& proxy = Get();
    const base::MutexLock lock(proxy.m_mutex);
    const auto found = proxy.m_subscribers.find(id);
    if (found == proxy.m_subscribers.end()) {
        return;
    }
    // In memory of its own: it ends through the virtual destructor, which is the platform's.
    auto copy = std::make_unique<TCProgramData>();
    *copy = *data;
    Deliver<tvs_program_event_arg_t>(found->second, {type, std::move(copy), param, id});
}

} // namespace marrow::evt

// SPDX-License-Identifier: Apache-2.0
#include "ProgramSubscriber.h"

namespace tvservice {

namespace {

bool IsSubscribeType(ESubscribeType type) {
    return type >= SUBSCRIBE_ONCE && type <= SUBSCRIBE_BOTH;
}

} // namespace

ProgramSubscriber::ProgramSubscriber(Callback callback, WakeUp wakeUp)
    : m_callback(callback), m_table(std::move(wakeUp)) {}

int ProgramSubscriber::Add(std::shared_ptr<Subscription> subscription, int& id) {
    id = m_nextId++; // ahead of the first callback
    m_table.Set(id, std::move(subscription));
    return 1;
}

int ProgramSubscriber::SubscribeProgram(TCProgramFilteringItem const& filter, int& id) {
    auto subscription = std::make_shared<Subscription>();
    subscription->filter = filter;
    return Add(std::move(subscription), id);
}

int ProgramSubscriber::UnsubscribeProgram(int id) {
    return m_table.End(id) ? 1 : 0;
}

int ProgramSubscriber::SubscribeProgramListPF(int param, unsigned long long const& list,
                                              ESubscribeType type, int& id) {
    if (!IsSubscribeType(type)) {
        return 0;
    }
    auto subscription = std::make_shared<Subscription>();
    subscription->kind = Subscription::Kind::PresentAndFollowing;
    subscription->list = list;
    subscription->type = type;
    subscription->param = param;
    return Add(std::move(subscription), id);
}

int ProgramSubscriber::SubscribeProgramList(int param, unsigned long long const& list,
                                            unsigned int first, unsigned int second,
                                            ESubscribeType type, int& id) {
    if (!IsSubscribeType(type) || second <= first) {
        return 0;
    }
    auto subscription = std::make_shared<Subscription>();
    subscription->kind = Subscription::Kind::Schedule;
    subscription->list = list;
    subscription->first = first;
    subscription->second = second;
    subscription->type = type;
    subscription->param = param;
    return Add(std::move(subscription), id);
}

// --- the library's thread ---

bool ProgramSubscriber::Subscription::Wants(EProgramChangeType change,
                                            const TCProgramData& data) const {
    if (kind == Kind::Changes) {
        return change <= PROGRAM_FOLLOWING_CHANGED && filter.Wants(change) &&
               MatchesServiceKey(filter.Service(), data.ServiceKey()) &&
               (!filter.FreeToAirOnly() || data.free_to_air);
    }
    if (type == SUBSCRIBE_ONCE || !MatchesServiceKey(list, data.ServiceKey())) {
        return false;
    }
    if (kind == Kind::PresentAndFollowing) {
        return change == PROGRAM_PRESENT_CHANGED || change == PROGRAM_FOLLOWING_CHANGED;
    }
    return change == PROGRAM_SCHEDULE_CHANGED && data.event.IsOnAir(first, second);
}

void ProgramSubscriber::Call(int id, Subscription& subscription, EProgramChangeType type,
                             TCProgramData data) {
    subscription.gate.Pass([&] { m_callback(type, &data, subscription.param, id); });
}

void ProgramSubscriber::Deliver(EProgramChangeType type, const TCProgramData& data) {
    for (const auto& [id, subscription] : m_list) {
        if (subscription->isTold && subscription->Wants(type, data)) {
            Call(id, *subscription, type, data);
        }
    }
}

void ProgramSubscriber::Sync(const ProgramGuide& guide) {
    if (!m_table.Take(m_list)) {
        return;
    }
    for (const auto& [id, subscription] : m_list) {
        if (!subscription->isTold) {
            subscription->isTold = true;
            Tell(id, *subscription, guide);
        }
    }
}

void ProgramSubscriber::Tell(int id, Subscription& subscription, const ProgramGuide& guide) {
    if (subscription.kind == Subscription::Kind::Changes) {
        for (const TCProgramData& program : guide.Programs()) {
            if (subscription.Wants(PROGRAM_APPEARED, program)) {
                Call(id, subscription, PROGRAM_APPEARED, program);
            }
        }
        return;
    }
    if (subscription.type == SUBSCRIBE_CHANGES) {
        return;
    }
    const std::vector<TCProgramData> list =
        subscription.kind == Subscription::Kind::PresentAndFollowing
            ? guide.PresentAndFollowing(subscription.list)
            : guide.Schedule(subscription.list, subscription.first, subscription.second);
    for (const TCProgramData& entry : list) {
        Call(id, subscription, PROGRAM_LISTED, entry);
    }
    Call(id, subscription, PROGRAM_LIST_END, {});
    if (subscription.type == SUBSCRIBE_ONCE) {
        m_table.End(id);
    }
}

} // namespace tvservice

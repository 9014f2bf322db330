// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "IProgramSubscriber.h"
#include "ProgramGuide.h"
#include "SubscriptionTable.h"
#include "TCProgramFilteringItem.h"

namespace tvservice {

/// Any thread subscribes; the lists and the changes are the library's thread's.
class ProgramSubscriber final : public IProgramSubscriber {
public:
    using Callback = void (*)(EProgramChangeType, TCProgramData*, int, int);

    ProgramSubscriber(Callback callback, WakeUp wakeUp);

    int SubscribeProgram(TCProgramFilteringItem const& filter, int& id) override;
    int UnsubscribeProgram(int id) override;
    int SubscribeProgramListPF(int param, unsigned long long const& list, ESubscribeType type,
                               int& id) override;
    int SubscribeProgramList(int param, unsigned long long const& list, unsigned int first,
                             unsigned int second, ESubscribeType type, int& id) override;

    /// Tells new subscriptions what the guide holds.
    void Sync(const ProgramGuide& guide);
    void Deliver(EProgramChangeType type, const TCProgramData& data);
    void Close() { m_table.CloseAll(); }

private:
    struct Subscription {
        enum class Kind { Changes, PresentAndFollowing, Schedule };

        bool Wants(EProgramChangeType change, const TCProgramData& data) const;

        Kind kind = Kind::Changes;
        TCProgramFilteringItem filter; // of changes
        unsigned long long list = 0;   // of lists, as all that follow
        std::int64_t first = 0;
        std::int64_t second = 0;
        ESubscribeType type = SUBSCRIBE_BOTH;
        int param = 0;
        bool isTold = false; // the library's thread's
        CallbackGate gate;
    };
    using Table = SubscriptionTable<int, Subscription>;

    int Add(std::shared_ptr<Subscription> subscription, int& id);
    void Tell(int id, Subscription& subscription, const ProgramGuide& guide);
    void Call(int id, Subscription& subscription, EProgramChangeType type, TCProgramData data);

    const Callback m_callback;
    Table m_table;
    std::atomic<int> m_nextId{1};
    Table::List m_list; // the library's thread's
};

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "ISectionSubscriber.h"
#include "SectionMatcher.h"
#include "SubscriptionTable.h"

namespace tvservice {

/// A filter of a subscriber. The matcher is the library's thread's.
struct SectionFilter {
    SectionFilter(int filterId, const TCSectionCriteriaHelper& criteria)
        : id(filterId), pid(criteria.Pid()), matcher(criteria) {}

    const int id;
    const std::uint16_t pid;
    SectionMatcher matcher;
    CallbackGate gate;
};

/// The filters by their handles; SectionDelivery works on them. Any thread.
class SectionSubscriber final : public ISectionSubscriber {
public:
    using Callback = void (*)(bool, unsigned short, unsigned char*, int);
    using Table = SubscriptionTable<int, SectionFilter>;

    SectionSubscriber(Callback callback, WakeUp wakeUp);

    int SubscribeSection(int id, TCSectionCriteriaHelper const& criteria, int& handle) override;
    int ChangeSection(int handle, TCSectionCriteriaHelper const& criteria) override;
    int UnsubscribeSection(int handle) override;

    Table& Filters() { return m_table; }
    Callback GetCallback() const { return m_callback; }
    void Close() { m_table.CloseAll(); }

private:
    const Callback m_callback;
    Table m_table;
    std::atomic<int> m_nextHandle{1};
};

} // namespace tvservice

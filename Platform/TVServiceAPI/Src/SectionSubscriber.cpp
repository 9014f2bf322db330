// SPDX-License-Identifier: Apache-2.0
#include "SectionSubscriber.h"

namespace tvservice {

namespace {

constexpr std::chrono::milliseconds CALLBACK_LIMIT(20);

} // namespace

SectionSubscriber::SectionSubscriber(Callback callback, WakeUp wakeUp)
    : m_callback(callback), m_table(std::move(wakeUp)) {}

int SectionSubscriber::SubscribeSection(int id, TCSectionCriteriaHelper const& criteria,
                                        int& handle) {
    if (criteria.Pid() >= PID_COUNT) {
        return 0;
    }
    handle = m_nextHandle++; // ahead of the first callback
    m_table.Set(handle, std::make_shared<SectionFilter>(id, criteria));
    return 1;
}

int SectionSubscriber::ChangeSection(int handle, TCSectionCriteriaHelper const& criteria) {
    const std::shared_ptr<SectionFilter> filter = m_table.Find(handle);
    if (!filter || criteria.Pid() >= PID_COUNT) {
        return 0;
    }
    return m_table.Replace(handle, std::make_shared<SectionFilter>(filter->id, criteria)) ? 1 : 0;
}

// The caller may hold a lock that the callback waits for: hence the limit, and the refusal. The
// callback may be one for criteria that it had before.
int SectionSubscriber::UnsubscribeSection(int handle) {
    while (const std::shared_ptr<SectionFilter> filter = m_table.Find(handle)) {
        for (const std::shared_ptr<SectionFilter>& former : m_table.Former(handle)) {
            if (!former->gate.TryToClose(CALLBACK_LIMIT)) {
                return 0;
            }
        }
        if (!filter->gate.TryToClose(CALLBACK_LIMIT)) {
            return 0;
        }
        if (m_table.Remove(handle, filter)) {
            return 1;
        }
        // Somebody has given it other criteria meanwhile.
    }
    return 0;
}

} // namespace tvservice

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "CallbackGate.h"

namespace tvservice {

/// Says to the library's thread that something has changed.
using WakeUp = std::function<void()>;

/// The subscriptions of one subscriber by their keys, each with a CallbackGate called `gate`. Any
/// thread changes it; the library's thread works on the list that it last took.
template <typename Key, typename Subscription>
class SubscriptionTable {
public:
    using Pointer = std::shared_ptr<Subscription>;
    using List = std::vector<std::pair<Key, Pointer>>;

    explicit SubscriptionTable(WakeUp wakeUp) : m_wakeUp(std::move(wakeUp)) {}

    /// Adds it, or puts it in the place of the one that is there, which gets no callback any more.
    void Set(const Key& key, Pointer subscription) { Put(key, std::move(subscription), true); }

    /// Puts it in the place of the one that is there; returns false where there is none.
    bool Replace(const Key& key, Pointer subscription) {
        return Put(key, std::move(subscription), false);
    }

    /// Null where there is none.
    Pointer Find(const Key& key) const {
        const marrow::base::MutexLock lock(m_mutex);
        const auto entry = m_entries.find(key);
        return entry != m_entries.end() ? entry->second : nullptr;
    }

    /// What has been of this key and may still have a callback under way; none begins.
    std::vector<Pointer> Former(const Key& key) const {
        std::vector<Pointer> former;
        const marrow::base::MutexLock lock(m_mutex);
        for (const auto& [itsKey, subscription] : m_retired) {
            if (itsKey == key) {
                former.push_back(subscription);
            }
        }
        return former;
    }

    /// Takes it off the table: no callback begins from now on. Returns false where there is none.
    bool End(const Key& key) {
        const marrow::base::MutexLock lock(m_mutex);
        const auto entry = m_entries.find(key);
        if (entry == m_entries.end()) {
            return false;
        }
        entry->second->gate.Close();
        Retire(entry);
        return true;
    }

    /// Takes it off the table where it is this one, whose gate is closed.
    bool Remove(const Key& key, const Pointer& subscription) {
        const marrow::base::MutexLock lock(m_mutex);
        const auto entry = m_entries.find(key);
        if (entry == m_entries.end() || entry->second != subscription) {
            return false;
        }
        Retire(entry);
        return true;
    }

    /// The end of all: no callback comes afterwards.
    void CloseAll() {
        List all;
        {
            const marrow::base::MutexLock lock(m_mutex);
            m_isClosed = true;
            all.swap(m_retired);
            all.insert(all.end(), m_entries.begin(), m_entries.end());
            m_entries.clear();
            Changed();
        }
        for (const auto& [key, subscription] : all) {
            subscription->gate.CloseAndWait();
        }
    }

    /// The library's thread: fills `list` anew where the table has changed since the last time.
    bool Take(List& list) {
        const unsigned changes = m_changes.load(std::memory_order_acquire);
        if (changes == m_taken) {
            return false;
        }
        const marrow::base::MutexLock lock(m_mutex);
        m_taken = m_changes.load(std::memory_order_relaxed);
        m_retired.clear(); // no callback is under way here
        list.assign(m_entries.begin(), m_entries.end());
        return true;
    }

private:
    bool Put(const Key& key, Pointer subscription, bool mayAdd) {
        {
            const marrow::base::MutexLock lock(m_mutex);
            const auto entry = m_entries.find(key);
            if (m_isClosed || (entry == m_entries.end() && !mayAdd)) {
                return false;
            }
            if (entry != m_entries.end()) {
                entry->second->gate.Close();
                m_retired.emplace_back(key, std::exchange(entry->second, std::move(subscription)));
            } else {
                m_entries.emplace(key, std::move(subscription));
            }
            Changed();
        }
        m_wakeUp();
        return true;
    }

    void Retire(typename std::map<Key, Pointer>::iterator entry) REQUIRES(m_mutex) {
        m_retired.emplace_back(entry->first, std::move(entry->second));
        m_entries.erase(entry);
        Changed();
    }

    void Changed() REQUIRES(m_mutex) { m_changes.fetch_add(1, std::memory_order_release); }

    const WakeUp m_wakeUp;
    mutable marrow::base::Mutex m_mutex;
    std::map<Key, Pointer> m_entries GUARDED_BY(m_mutex);
    // Off the table, and maybe with a callback under way: until the library's thread has the new
    // list.
    List m_retired GUARDED_BY(m_mutex);
    bool m_isClosed GUARDED_BY(m_mutex) = false;
    std::atomic<unsigned> m_changes{0};
    unsigned m_taken = 0; // the library's thread alone
};

} // namespace tvservice

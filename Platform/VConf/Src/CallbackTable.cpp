// SPDX-License-Identifier: Apache-2.0
#include "CallbackTable.h"

#include <algorithm>

namespace vconf {

using marrow::base::MutexLock;

bool CallbackTable::Add(std::string_view key, vconf_callback_t callback, void* user,
                        const std::string& store, std::int64_t number) {
    const MutexLock lock(m_mutex);
    std::vector<Listener>& listeners = m_listeners[std::string(key)];
    for (const Listener& listener : listeners) {
        if (listener.entry.callback == callback) {
            return false;
        }
    }
    listeners.push_back({{callback, user, ++m_lastSerial}, store, number});
    return true;
}

bool CallbackTable::Remove(std::string_view key, vconf_callback_t callback) {
    const MutexLock lock(m_mutex);
    const auto found = m_listeners.find(key);
    if (found == m_listeners.end() || std::erase_if(found->second, [&](const Listener& listener) {
                                          return listener.entry.callback == callback;
                                      }) == 0) {
        return false;
    }
    if (found->second.empty()) {
        m_listeners.erase(found);
    }
    return true;
}

void CallbackTable::GoBack(std::int64_t number) {
    const MutexLock lock(m_mutex);
    for (auto& [key, listeners] : m_listeners) {
        for (Listener& listener : listeners) {
            listener.number = std::min(listener.number, number);
        }
    }
}

void CallbackTable::Leave(const std::string& store) {
    const MutexLock lock(m_mutex);
    for (auto& [key, listeners] : m_listeners) {
        for (Listener& listener : listeners) {
            if (listener.store == store) {
                listener.store.clear();
            }
        }
    }
}

bool CallbackTable::IsEmpty() const {
    const MutexLock lock(m_mutex);
    return m_listeners.empty();
}

bool CallbackTable::Has(std::string_view key) const {
    const MutexLock lock(m_mutex);
    return m_listeners.contains(key);
}

std::optional<CallbackTable::Entry>
CallbackTable::Next(const StoredKey& change, const std::string& store, std::uint64_t serial) const {
    const MutexLock lock(m_mutex);
    const auto found = m_listeners.find(change.name);
    if (found == m_listeners.end()) {
        return std::nullopt;
    }
    for (const Listener& listener : found->second) {
        if (listener.entry.serial > serial &&
            (change.number > listener.number || listener.store != store)) {
            return listener.entry;
        }
    }
    return std::nullopt;
}

} // namespace vconf

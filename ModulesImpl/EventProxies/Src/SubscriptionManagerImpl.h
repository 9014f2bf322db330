// SPDX-License-Identifier: Apache-2.0
#pragma once

// The members of SubscriptionManager, for those who instantiate it: the proxies.

#include <algorithm>
#include <functional>
#include <glib.h>
#include <memory>

#include "EventDelivery.h"
#include "Log.h"
#include "SubscriptionManager.h"

namespace marrow::evt {

template <typename Key, typename Args>
SubscriptionManager<Key, Args>::SubscriptionManager() = default;

template <typename Key, typename Args>
SubscriptionManager<Key, Args>::~SubscriptionManager() {
    std::map<Key, std::vector<IListener*>> subscribers;
    {
        const base::MutexLock lock(m_mutex);
        subscribers = m_subscribers;
        m_subscribers.clear();
    }
    for (auto& [key, listeners] : subscribers) {
        SubscriptionManager::OnLastUnsubCb(key);
        listeners.clear();
    }
}

template <typename Key, typename Args>
void SubscriptionManager<Key, Args>::Subscribe(Key key, IListener* listener) {
    if (listener == nullptr) {
        LOGW("Listener cannot be NULL");
        return;
    }
    const base::MutexLock lock(m_mutex);
    std::vector<IListener*>& listeners = m_subscribers[key];
    if (listeners.empty()) {
        Schedule(&SubscriptionManager::OnFirstSubCb, key);
    }
    if (std::find(listeners.begin(), listeners.end(), listener) != listeners.end()) {
        LOGW("Listener already subscribed (%p)", static_cast<void*>(listener));
        return;
    }
    listeners.push_back(listener);
    LOGD("Listener (%p) subscribed successfully", static_cast<void*>(listener));
}

template <typename Key, typename Args>
void SubscriptionManager<Key, Args>::Unsubscribe(Key key, IListener* listener) {
    if (listener == nullptr) {
        LOGW("Listener cannot be NULL");
        return;
    }
    const base::MutexLock lock(m_mutex);
    std::vector<IListener*>& listeners = m_subscribers[key];
    const auto found = std::find(listeners.begin(), listeners.end(), listener);
    if (found != listeners.end()) {
        LOGD("Listener (%p) unsubscribed successfully", static_cast<void*>(listener));
        listeners.erase(found);
    }
    if (listeners.empty()) { // whether or not this call has emptied it
        Schedule(&SubscriptionManager::OnLastUnsubCb, key);
    }
}

template <typename Key, typename Args>
void SubscriptionManager<Key, Args>::NotifyAll(Key key, Args& args) {
    const base::MutexLock lock(m_mutex);
    for (IListener* listener : m_subscribers[key]) {
        Deliver<Args>(listener, args);
    }
}

template <typename Key, typename Args>
bool SubscriptionManager<Key, Args>::OnFirstSubCb(Key /*key*/) {
    LOGD("Default handler");
    return true;
}

template <typename Key, typename Args>
bool SubscriptionManager<Key, Args>::OnLastUnsubCb(Key /*key*/) {
    LOGD("Default handler");
    return true;
}

// A virtual member: the most derived hook runs.
template <typename Key, typename Args>
void SubscriptionManager<Key, Args>::Schedule(Hook hook, const Key& key) {
    auto function = std::make_unique<std::function<void()>>([this, hook, key] { //
        (this->*hook)(key);
    });
    g_main_context_invoke(nullptr, ContextCallback, function.release());
}

template <typename Key, typename Args>
int SubscriptionManager<Key, Args>::ContextCallback(void* data) {
    LOGD("Context callback");
    const std::unique_ptr<std::function<void()>> function(
        static_cast<std::function<void()>*>(data));
    (*function)();
    return 0; // the source runs once
}

} // namespace marrow::evt

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <vector>

#include "IListenable.h"
#include "Mutex.h"

namespace marrow::evt {

/// Keeps the listeners of one event source by key, and has hooks run for the first and the last
/// listener of a key, so that the platform is asked only for what somebody wants.
///
/// Any thread. A hook runs on the main thread: queued there, or inside the call where the main
/// thread itself subscribes. Before its main loop runs that may be inside the call on any thread,
/// with the lock held. m_mutex guards the table and is held while hooks are scheduled and
/// events are queued. It is not recursive: neither a hook nor a listener's GetWorker may call this
/// object.
///
/// The members are defined in SubscriptionManagerImpl.h and instantiated in the executable, which
/// hosted libraries bind to.
template <typename Key, typename Args>
class SubscriptionManager : public IListenable<Args> {
public:
    using IListener = typename IListenable<Args>::IListener;

    SubscriptionManager();
    /// Lets go of all keys, the hook for the last listener included: the template's own, because
    /// whoever derives from it has gone by then.
    ~SubscriptionManager() override;

    /// Adds the listener behind the others of this key; a second time changes nothing. Schedules
    /// OnFirstSubCb where the key had no listener, ahead of adding it.
    void Subscribe(Key key, IListener* listener);

    /// Removes it. Schedules OnLastUnsubCb where the key has no listener afterwards, also where it
    /// had none before.
    void Unsubscribe(Key key, IListener* listener);

    /// Queues the event with each listener of the key, on the listener's worker. Doesn't wait.
    void NotifyAll(Key key, Args& args);

    // The hooks; what they return goes nowhere.
    virtual bool OnFirstSubCb(Key key);
    virtual bool OnLastUnsubCb(Key key);

    /// What the main context calls with a hook: runs and deletes the std::function behind `data`.
    static int ContextCallback(void* data);

private:
    using Hook = bool (SubscriptionManager::*)(Key);
    void Schedule(Hook hook, const Key& key);

    base::Mutex m_mutex;
    // An entry stays once it is there, with no listeners too.
    std::map<Key, std::vector<IListener*>> m_subscribers GUARDED_BY(m_mutex);
};

} // namespace marrow::evt

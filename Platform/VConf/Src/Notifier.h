// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "CallbackTable.h"
#include "LazyStore.h"
#include "Mutex.h"
#include "StoreWatch.h"

namespace vconf {

/// Tells callbacks of the store's changes, on a thread that lives from the first notification on.
/// Any thread; the opening comment in the source says what guards what.
class Notifier {
public:
    explicit Notifier(StorePlace& place) : m_callers(place), m_own(place) {}
    Notifier(const Notifier&) = delete;
    Notifier& operator=(const Notifier&) = delete;

    /// Throws KeyError where the key has this callback, StoreError, std::system_error.
    void Add(std::string_view key, vconf_callback_t callback, void* user)
        EXCLUDES(m_startMutex, m_endMutex);
    /// Throws KeyError where it hasn't.
    void Remove(std::string_view key, vconf_callback_t callback);
    /// No callback begins from now on. Waits a little for one that is under way, unless that is
    /// what ends the process. The object must go on to exist.
    void End() EXCLUDES(m_startMutex, m_endMutex);

private:
    void Start() EXCLUDES(m_startMutex);
    void Run(StoreWatch& watch);
    void Look(StoreWatch& watch, StoreWatch::Noticed noticed);
    std::vector<StoredKey> Changes(StoreWatch& watch, bool isThorough);
    void Tell(const StoredKey& change);
    void TellTrouble(const std::string& text);

    CallbackTable m_callbacks;
    LazyStore m_callers; // for those who call

    marrow::base::Mutex m_startMutex;
    std::unique_ptr<StoreWatch> m_watch GUARDED_BY(m_startMutex); // made once; the thread uses it
    std::thread m_thread GUARDED_BY(m_startMutex);
    std::atomic<bool> m_isEnding{false};

    marrow::base::Mutex m_endMutex;
    marrow::base::Condition m_ended;
    bool m_hasEnded GUARDED_BY(m_endMutex) = false;

    // The thread's own; set ahead of its start.
    LazyStore m_own;
    std::string m_store;       // the id of the one that
    std::int64_t m_number = 0; // has been seen so far
    std::string m_trouble;
};

} // namespace vconf

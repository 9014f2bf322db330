// SPDX-License-Identifier: Apache-2.0

// The thread "vconf-watch" waits until the store may have changed, reads what is behind the last
// number that it has seen, and calls. While nothing is watched it sleeps, whatever happens to the
// store.
//
// Locks: the table's own guards who is told, and no lock at all is held during a callback: it may
// add and remove callbacks, and set keys. For each call the thread asks the table anew who comes
// next, so that what has been removed meanwhile isn't called, and a callback is under way from that
// answer on. m_startMutex guards the start, m_endMutex only the end of the thread.
//
// Whoever adds a callback notes the store's last number first: what was changed before is none of
// its business. The files are watched by then, so that nothing that comes after is lost.
//
// Ownership: the object lives as long as the process, because a callback may stand still for ever
// and the process ends all the same. Only the thread is ended.
#include "Notifier.h"

#include <chrono>
#include <pthread.h>
#include <system_error>

#include "KeyName.h"
#include "KeyNode.h"
#include "VConfLog.h"

namespace vconf {

using marrow::base::MutexLock;

namespace {

constexpr std::chrono::seconds END_LIMIT(2);

} // namespace

void Notifier::Add(std::string_view key, vconf_callback_t callback, void* user) {
    CheckKeyName(key);
    if (callback == nullptr) {
        throw KeyError("no callback");
    }
    Start();
    std::string id;
    const std::int64_t number = m_callers.Use([&id](Store& store) {
        id = store.Id();
        return store.LastNumber();
    });
    if (!m_callbacks.Add(key, callback, user, id, number)) {
        throw KeyError(std::string(key) + " has this callback already");
    }
    const MutexLock lock(m_startMutex);
    m_watch->Wake(); // it may sleep because nobody was there
}

void Notifier::Remove(std::string_view key, vconf_callback_t callback) {
    if (!m_callbacks.Remove(key, callback)) {
        throw KeyError("no such callback");
    }
}

void Notifier::Start() {
    const MutexLock lock(m_startMutex);
    if (m_isEnding) {
        throw StoreError("the process is ending");
    }
    if (m_watch) {
        return;
    }
    auto watch = m_own.Use([this](Store& store) {
        auto made = std::make_unique<StoreWatch>(store.Paths());
        made->Renew();
        made->LookAgain(); // for files that are missing, and for a change that is being made
        m_store = store.Id();
        m_number = store.LastNumber();
        return made;
    });
    m_thread = std::thread([this, &watching = *watch] { Run(watching); });
    pthread_setname_np(m_thread.native_handle(), "vconf-watch");
    m_watch = std::move(watch);
}

void Notifier::End() {
    std::thread thread;
    {
        const MutexLock lock(m_startMutex);
        m_isEnding = true;
        if (!m_watch) {
            return;
        }
        m_watch->Wake();
        thread = std::move(m_thread);
    }
    bool hasEnded = false;
    if (thread.get_id() != std::this_thread::get_id()) {
        const auto deadline = std::chrono::steady_clock::now() + END_LIMIT;
        const MutexLock lock(m_endMutex);
        while (!m_hasEnded && m_ended.WaitUntil(m_endMutex, deadline)) {
        }
        hasEnded = m_hasEnded;
    }
    if (hasEnded) {
        thread.join();
    } else {
        thread.detach();
    }
}

void Notifier::Run(StoreWatch& watch) {
    while (true) {
        const StoreWatch::Noticed noticed = watch.Wait(m_callbacks.IsEmpty());
        if (m_isEnding) {
            break;
        }
        Look(watch, noticed);
    }
    const MutexLock lock(m_endMutex);
    m_hasEnded = true;
    m_ended.NotifyAll();
}

void Notifier::Look(StoreWatch& watch, StoreWatch::Noticed noticed) {
    std::vector<StoredKey> changes;
    try {
        const bool isThorough = noticed == StoreWatch::Noticed::Files;
        if (isThorough && !watch.Renew()) {
            watch.LookAgain();
        }
        changes = Changes(watch, isThorough);
        m_trouble.clear();
    } catch (const OpenError&) { // that has been told
        watch.LookAgain();
    } catch (const std::exception& error) {
        TellTrouble(error.what());
        watch.LookAgain();
    }
    for (const StoredKey& change : changes) {
        Tell(change);
    }
}

std::vector<StoredKey> Notifier::Changes(StoreWatch& watch, bool isThorough) {
    return m_own.Use([this, &watch, isThorough](Store& store) {
        if (m_store != store.Id()) { // another has taken its place: all that is in it is new
            m_callbacks.Leave(m_store);
            m_store = store.Id();
            m_number = 0;
            watch.Follow(store.Paths());
        } else if (isThorough && store.LastNumber() < m_number) {
            // Somebody has put back what an old one held, and there may be changes behind that.
            m_number = 0;
            m_callbacks.GoBack(m_number);
        }
        return store.ChangesSince(m_number,
                                  [this](std::string_view key) { return m_callbacks.Has(key); });
    });
}

void Notifier::Tell(const StoredKey& change) {
    _keynode_t node{change};
    CallbackTable::Entry entry;
    while (!m_isEnding) {
        const auto next = m_callbacks.Next(change, m_store, entry.serial);
        if (!next) {
            break;
        }
        entry = *next;
        entry.callback(&node, entry.user);
    }
}

// Once, while it stays the same.
void Notifier::TellTrouble(const std::string& text) {
    if (m_trouble != text) {
        m_trouble = text;
        VCONF_LOG(DLOG_ERROR, "changes can't be read: %s; trying again each second", text.c_str());
    }
}

} // namespace vconf

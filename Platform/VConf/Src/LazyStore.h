// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include "Mutex.h"
#include "Store.h"
#include "StoreError.h"

namespace vconf {

class LazyStore;

/// Where a process's stores are, and what keeps them from being opened. Any thread. The connections
/// to one file share locks within the process, so that when the files are replaced all of them must
/// be closed before the first is opened again: who uses one holds `m_files` shared, who opens one
/// holds it alone.
class StorePlace {
public:
    StorePlace(std::string path, std::string bootId);

    /// While it lives no store of this place is opened or closed by another thread.
    std::shared_lock<std::shared_mutex> Hold() EXCLUDES(m_turn);
    /// Opens it, with its folder where that is missing. Throws OpenError, whose reason is told in
    /// the log unless it was the last one already.
    void Open(LazyStore& store) EXCLUDES(m_turn);

private:
    friend class LazyStore;

    void CloseReplaced();
    std::unique_ptr<Store> Make();

    const std::string m_path;
    const std::string m_bootId;
    marrow::base::Mutex m_turn; // as LazyStore's
    std::shared_mutex m_files;
    // Held alone for these:
    std::vector<LazyStore*> m_stores;
    std::string m_trouble;
};

/// A store that is opened when it is used, and opened again where that failed, where something went
/// wrong with it, or where its files are others now. Any thread; they use it one after the other.
class LazyStore {
public:
    explicit LazyStore(StorePlace& place);
    ~LazyStore();
    LazyStore(const LazyStore&) = delete;
    LazyStore& operator=(const LazyStore&) = delete;

    /// `work` with the store. Throws OpenError, and what `work` throws.
    template <typename Work>
    auto Use(const Work& work) EXCLUDES(m_turn, m_mutex) {
        m_turn.lock();
        const marrow::base::MutexLock lock(m_mutex);
        m_turn.unlock();
        for (int tries = 0; tries < MOST_TRIES; ++tries) {
            {
                const auto hold = m_place.Hold();
                if (m_store && m_store->IsInPlace()) {
                    return Use(*m_store, work);
                }
            }
            m_place.Open(*this);
        }
        throw StoreError("the store's files don't stay in their place");
    }

private:
    friend class StorePlace;

    static constexpr int MOST_TRIES = 10;

    template <typename Work>
    auto Use(Store& store, const Work& work) {
        try {
            return work(store);
        } catch (const KeyError&) {
            throw;
        } catch (const StoreError&) {
            m_store.reset();
            throw;
        }
    }

    StorePlace& m_place;
    // Held while waiting for the other: a thread that comes back at once, over and over, finds a
    // waiting one ahead of it.
    marrow::base::Mutex m_turn;
    marrow::base::Mutex m_mutex;    // who uses the store
    std::unique_ptr<Store> m_store; // the place's lock, shared with that mutex or held alone
};

} // namespace vconf

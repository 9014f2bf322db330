// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "Mutex.h"
#include "Store.h"
#include "StoreError.h"

namespace vconf {

/// Where a process's store is, and what keeps it from being opened. Any thread.
class StorePlace {
public:
    StorePlace(std::string path, std::string bootId);

    /// Opens it, with its folder where that is missing. Throws OpenError, whose reason is told in
    /// the log unless it was the last one already.
    std::unique_ptr<Store> Open();

private:
    const std::string m_path;
    const std::string m_bootId;
    marrow::base::Mutex m_mutex;
    std::string m_trouble GUARDED_BY(m_mutex);
};

/// A store that is opened when it is used, and opened again where that failed, where something went
/// wrong with it, or where its files are others now. Any thread; they use it one after the other.
class LazyStore {
public:
    explicit LazyStore(StorePlace& place) : m_place(place) {}

    /// `work` with the store. Throws OpenError, and what `work` throws.
    template <typename Work>
    auto Use(const Work& work) EXCLUDES(m_turn, m_mutex) {
        m_turn.lock();
        const marrow::base::MutexLock lock(m_mutex);
        m_turn.unlock();
        Store& store = Opened();
        try {
            return work(store);
        } catch (const KeyError&) {
            throw;
        } catch (const StoreError&) {
            m_store.reset();
            throw;
        }
    }

private:
    Store& Opened() REQUIRES(m_mutex);

    StorePlace& m_place;
    // Held while waiting for the other: a thread that comes back at once, over and over, finds a
    // waiting one ahead of it.
    marrow::base::Mutex m_turn;
    marrow::base::Mutex m_mutex;
    std::unique_ptr<Store> m_store GUARDED_BY(m_mutex);
};

} // namespace vconf

// SPDX-License-Identifier: Apache-2.0
#include "LazyStore.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "VConfLog.h"

namespace vconf {

StorePlace::StorePlace(std::string path, std::string bootId)
    : m_path(std::move(path)), m_bootId(std::move(bootId)) {}

std::shared_lock<std::shared_mutex> StorePlace::Hold() {
    m_turn.lock(); // whoever is to open something comes ahead
    m_turn.unlock();
    return std::shared_lock(m_files);
}

void StorePlace::Open(LazyStore& store) {
    m_turn.lock();
    const std::unique_lock lock(m_files);
    m_turn.unlock();
    CloseReplaced();
    if (!store.m_store) {
        store.m_store = Make();
    }
}

void StorePlace::CloseReplaced() {
    bool isTold = false;
    for (LazyStore* store : m_stores) {
        if (store->m_store && !store->m_store->IsInPlace()) {
            if (!isTold) {
                VCONF_LOG(DLOG_WARN, "%s has been removed or replaced; opening it anew",
                          store->m_store->Paths().database.c_str());
                isTold = true;
            }
            store->m_store.reset();
        }
    }
}

std::unique_ptr<Store> StorePlace::Make() {
    try {
        std::error_code ignored; // the store says it better
        std::filesystem::create_directories(std::filesystem::path(m_path).parent_path(), ignored);
        auto store = std::make_unique<Store>(m_path, m_bootId);
        if (!m_trouble.empty()) {
            VCONF_LOG(DLOG_INFO, "%s can be opened again", m_path.c_str());
            m_trouble.clear();
        }
        return store;
    } catch (const OpenError& error) {
        if (m_trouble != error.what()) {
            m_trouble = error.what();
            VCONF_LOG(DLOG_ERROR, "%s", error.what());
        }
        throw;
    }
}

LazyStore::LazyStore(StorePlace& place) : m_place(place) {
    const std::unique_lock lock(m_place.m_files);
    m_place.m_stores.push_back(this);
}

LazyStore::~LazyStore() {
    const std::unique_lock lock(m_place.m_files);
    std::erase(m_place.m_stores, this);
}

} // namespace vconf

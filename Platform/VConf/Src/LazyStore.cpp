// SPDX-License-Identifier: Apache-2.0
#include "LazyStore.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "VConfLog.h"

namespace vconf {

using marrow::base::MutexLock;

StorePlace::StorePlace(std::string path, std::string bootId)
    : m_path(std::move(path)), m_bootId(std::move(bootId)) {}

std::unique_ptr<Store> StorePlace::Open() {
    try {
        std::error_code ignored; // the store says it better
        std::filesystem::create_directories(std::filesystem::path(m_path).parent_path(), ignored);
        auto store = std::make_unique<Store>(m_path, m_bootId);
        const MutexLock lock(m_mutex);
        if (!m_trouble.empty()) {
            VCONF_LOG(DLOG_INFO, "%s can be opened again", m_path.c_str());
            m_trouble.clear();
        }
        return store;
    } catch (const OpenError& error) {
        const MutexLock lock(m_mutex);
        if (m_trouble != error.what()) {
            m_trouble = error.what();
            VCONF_LOG(DLOG_ERROR, "%s", error.what());
        }
        throw;
    }
}

Store& LazyStore::Opened() {
    if (m_store && !m_store->IsInPlace()) {
        VCONF_LOG(DLOG_WARN, "%s has been removed or replaced; opening it anew",
                  m_store->Paths().database.c_str());
        m_store.reset();
    }
    if (!m_store) {
        m_store = m_place.Open();
    }
    return *m_store;
}

} // namespace vconf

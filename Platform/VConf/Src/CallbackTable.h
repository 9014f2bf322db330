// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Mutex.h"
#include "StoredKey.h"

namespace vconf {

/// Who is told of which key's changes. Any thread; the lock is held within the calls only.
class CallbackTable {
public:
    struct Entry {
        vconf_callback_t callback = nullptr;
        void* user = nullptr;
        std::uint64_t serial = 0; ///< from 1, in the order of their coming
    };

    /// For changes of this store that come behind `number`, and all of another store. False where
    /// the key has this callback.
    bool Add(std::string_view key, vconf_callback_t callback, void* user, const std::string& store,
             std::int64_t number);
    /// False where it hasn't.
    bool Remove(std::string_view key, vconf_callback_t callback);
    /// The store has lost what came behind `number`: other changes will bear those numbers.
    void GoBack(std::int64_t number);
    /// Another has taken the store's place: should it come back, all that is in it is new.
    void Leave(const std::string& store);

    bool IsEmpty() const;
    bool Has(std::string_view key) const;
    /// The first that came after `serial` and wants this change of the store.
    std::optional<Entry> Next(const StoredKey& change, const std::string& store,
                              std::uint64_t serial) const;

private:
    struct Listener {
        Entry entry;
        std::string store;
        std::int64_t number = 0;
    };

    mutable marrow::base::Mutex m_mutex;
    std::map<std::string, std::vector<Listener>, std::less<>> m_listeners GUARDED_BY(m_mutex);
    std::uint64_t m_lastSerial GUARDED_BY(m_mutex) = 0;
};

} // namespace vconf

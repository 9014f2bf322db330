// SPDX-License-Identifier: Apache-2.0
#include "SharedStore.h"

#include "StoreDefaults.h"

namespace vconf {

SharedStore::SharedStore() : m_place(DatabasePath(), BootId()) {}

SharedStore& SharedStore::Get() {
    struct Ending {
        ~Ending() { store.m_notifier.End(); }
        SharedStore& store;
    };
    static const Ending ending{*new SharedStore};
    return ending.store;
}

} // namespace vconf

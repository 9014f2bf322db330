// SPDX-License-Identifier: Apache-2.0
#include "SharedStore.h"

#include <unistd.h>

#include "StoreDefaults.h"

namespace vconf {

SharedStore::SharedStore() : m_place(DatabasePath(), BootId()) {}

SharedStore& SharedStore::Get() {
    struct Ending {
        ~Ending() {
            if (getpid() == process) { // a child that has been forked has no such thread
                store.m_notifier.End();
            }
        }
        SharedStore& store;
        const pid_t process = getpid();
    };
    static const Ending ending{*new SharedStore};
    return ending.store;
}

} // namespace vconf

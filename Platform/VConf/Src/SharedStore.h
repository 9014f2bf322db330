// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LazyStore.h"
#include "Notifier.h"

namespace vconf {

/// The process's store, with connections of their own for reading, writing and waiting for the
/// disk: who does one of them isn't held up by another thread that does the next. Any thread.
class SharedStore {
public:
    /// Made at the first call, for /var/lib/vconf/vconf.db or what VCONF_DATABASE says then, and
    /// never destroyed: other objects may use it while the process ends. Its callbacks end then.
    static SharedStore& Get();

    LazyStore& Reading() { return m_reading; }
    LazyStore& Writing() { return m_writing; }
    LazyStore& Syncing() { return m_syncing; }
    Notifier& Changes() { return m_notifier; }

private:
    SharedStore();

    StorePlace m_place;
    LazyStore m_reading{m_place};
    LazyStore m_writing{m_place};
    LazyStore m_syncing{m_place};
    Notifier m_notifier{m_place};
};

} // namespace vconf

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FileDescriptor.h"

namespace tvservice {

/// Ends another thread's wait for a descriptor. Any thread.
class WakeEvent {
public:
    /// Throws std::system_error where there is no descriptor left.
    WakeEvent();

    void Wake();
    /// From now on only later wakes count.
    void Clear();
    /// Readable while there is one.
    int Number() const { return m_event.Number(); }

private:
    const marrow::base::FileDescriptor m_event;
};

} // namespace tvservice

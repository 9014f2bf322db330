// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unordered_set>

#include "Mutex.h"
#include "TCEventIO.h"

namespace Quill {

// Which queues exist. IfTransferMessage hands out a raw pointer to a queue whose last owner may be
// gone before the message is queued; asking here, under the lock that a queue's destructor needs
// too, makes that pointer safe to use. A new queue at the address of an old one is taken for it:
// the message then runs on that queue's thread, which the receiver must expect anyway.
//
// Any thread. The lock is held for a lookup and one push.
class LiveQueues {
public:
    static LiveQueues& Get();

    void Add(const TCEventIO* queue);
    void Remove(const TCEventIO* queue);

    /// Puts the event in `queue`. Returns false, with the event not taken, when that queue doesn't
    /// exist or has ended.
    bool Push(TCEventIO* queue, const TCEvent& event);

private:
    marrow::base::Mutex m_mutex;
    std::unordered_set<const TCEventIO*> m_queues GUARDED_BY(m_mutex);
};

} // namespace Quill

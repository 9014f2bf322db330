// SPDX-License-Identifier: Apache-2.0
#include "LiveQueues.h"

#include "EventQueue.h"

namespace Quill {

using marrow::base::MutexLock;

// Never destroyed: tasks that live at exit still use it.
LiveQueues& LiveQueues::Get() {
    static LiveQueues* const queues = new LiveQueues;
    return *queues;
}

void LiveQueues::Add(const TCEventIO* queue) {
    const MutexLock lock(m_mutex);
    m_queues.insert(queue);
}

void LiveQueues::Remove(const TCEventIO* queue) {
    const MutexLock lock(m_mutex);
    m_queues.erase(queue);
}

bool LiveQueues::Push(TCEventIO* queue, const TCEvent& event) {
    const MutexLock lock(m_mutex);
    return m_queues.contains(queue) && queue->m_queue->Push(event);
}

} // namespace Quill

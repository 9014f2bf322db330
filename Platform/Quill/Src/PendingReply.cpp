// SPDX-License-Identifier: Apache-2.0
#include "PendingReply.h"

#include <utility>

namespace Quill {

using marrow::base::MutexLock;

void PendingReply::Complete(Result result) {
    {
        const MutexLock lock(m_mutex);
        m_result = std::move(result);
        m_isComplete = true;
    }
    m_completed.NotifyAll();
}

bool PendingReply::IsComplete() {
    const MutexLock lock(m_mutex);
    return m_isComplete;
}

PendingReply::Result PendingReply::Wait() {
    const MutexLock lock(m_mutex);
    while (!m_isComplete) {
        m_completed.Wait(m_mutex);
    }
    return m_result;
}

} // namespace Quill

// SPDX-License-Identifier: Apache-2.0
#include "PendingReply.h"

#include <cerrno>
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

PendingReply::Result PendingReply::WaitUntil(std::chrono::steady_clock::time_point deadline) {
    const MutexLock lock(m_mutex);
    while (!m_isComplete) {
        if (!m_completed.WaitUntil(m_mutex, deadline) && !m_isComplete) {
            return {-ETIMEDOUT, "no answer in time", {}, {}};
        }
    }
    return m_result;
}

} // namespace Quill

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "Mutex.h"

namespace Quill {

/// The answer to a call of ours. The waiting thread and the dispatching thread meet here.
class PendingReply {
public:
    /// error: 0, or a negative errno value, with `text` saying more.
    struct Result {
        int error = 0;
        std::string text;
        std::string subject;
        std::string payload;
    };

    void Complete(Result result);
    bool IsComplete();
    /// -ETIMEDOUT where none has come by then.
    Result WaitUntil(std::chrono::steady_clock::time_point deadline);

private:
    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_completed;
    bool m_isComplete GUARDED_BY(m_mutex) = false;
    Result m_result GUARDED_BY(m_mutex);
};

} // namespace Quill

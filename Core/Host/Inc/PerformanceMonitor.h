// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Mutex.h"
#include "RecordHandler.h"

/// Measures how long named stages take. Start opens a record under a tag; Stop closes it and hands
/// it to every handler. Always on.
///
/// Any thread. The tag is the only key: a second Start of an open tag begins it anew, and two
/// threads that time one tag share one record. The two locks are never held together, and the clock
/// is read outside both.
class PerformanceMonitor {
public:
    /// The one monitor of the process. Inline on purpose: a hosted library that calls it binds to
    /// the executable's copy, and so to the same object.
    static PerformanceMonitor& Get() {
        static PerformanceMonitor instance;
        return instance;
    }

    void Start(std::string tag);

    /// A tag that isn't open yields a record with an empty tag and a start of zero.
    void Stop(std::string tag);

    /// `handler` isn't owned and must live as long as the process. A handler that is added twice is
    /// called twice.
    void AddRecordHandler(RecordHandler* handler);

private:
    marrow::base::Mutex m_recordsMutex;
    std::map<std::string, record_t> m_records GUARDED_BY(m_recordsMutex);
    marrow::base::Mutex m_handlersMutex; // held while handlers run
    std::vector<RecordHandler*> m_handlers GUARDED_BY(m_handlersMutex);
};

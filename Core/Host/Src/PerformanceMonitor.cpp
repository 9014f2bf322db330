// SPDX-License-Identifier: Apache-2.0
#include "PerformanceMonitor.h"

using marrow::base::MutexLock;

void PerformanceMonitor::Start(std::string tag) {
    record_t record;
    record.tag = tag;
    record.start = std::chrono::steady_clock::now();
    const MutexLock lock(m_recordsMutex);
    m_records[tag] = record;
}

void PerformanceMonitor::Stop(std::string tag) {
    const record_t::time_point now = std::chrono::steady_clock::now();
    record_t record;
    {
        const MutexLock lock(m_recordsMutex);
        record = m_records[tag]; // a default record where there is none
        m_records.erase(tag);
    }
    record.stop = now;
    const MutexLock lock(m_handlersMutex);
    for (RecordHandler* handler : m_handlers) {
        handler->handle(record);
    }
}

void PerformanceMonitor::AddRecordHandler(RecordHandler* handler) {
    const MutexLock lock(m_handlersMutex);
    m_handlers.push_back(handler);
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

/// One finished stage: its tag, and when it began and ended on the steady clock.
struct record_t {
    using time_point = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;

    std::string tag;
    time_point start{};
    time_point stop{}; ///< zero until the stage ends
};

/// Is given each finished record. Called by the thread that stopped the stage, one call at a time,
/// with the monitor's handlers' lock held: it must not call PerformanceMonitor::Stop or
/// AddRecordHandler.
class RecordHandler {
public:
    virtual void handle(record_t record) = 0;
    virtual ~RecordHandler();
};

// SPDX-License-Identifier: Apache-2.0
#include "PrintRecordHandler.h"

#include <cstdint>
#include <iostream>

void PrintRecordHandler::handle(record_t record) {
    const std::int64_t nanoseconds = (record.stop - record.start).count();
    const std::int64_t milliseconds = nanoseconds / 1000000;
    std::cout << "PERFORMANCE MONITOR - "
              << "tag: " << record.tag << " execution_time: ";
    if (milliseconds != 0) {
        std::cout << milliseconds << " ms";
    } else {
        std::cout << nanoseconds / 1000 << " us";
    }
    std::cout << '\n' << std::flush;
}

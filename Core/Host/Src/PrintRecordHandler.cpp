// SPDX-License-Identifier: Apache-2.0
#include "PrintRecordHandler.h"

#include <cstdint>
#include <string>

#include "Print.h"

void PrintRecordHandler::handle(record_t record) {
    const std::int64_t nanoseconds = (record.stop - record.start).count();
    const std::int64_t milliseconds = nanoseconds / 1000000;
    std::string line = "PERFORMANCE MONITOR - tag: " + record.tag + " execution_time: ";
    if (milliseconds != 0) {
        line += std::to_string(milliseconds) + " ms\n";
    } else {
        line += std::to_string(nanoseconds / 1000) + " us\n";
    }
    marrow::base::Print(line);
}

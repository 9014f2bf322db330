// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <ctime>
#include <vector>

/// Of one value at least.
inline double MedianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// The thread's own time: what else the machine does has no part in it.
inline double ProcessorNanoseconds() {
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <fstream>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/// What the daemon uses, from time to time: kept, and written line by line to a file that
/// plot-soak draws. One thread.
class Samples {
public:
    struct Sample {
        double seconds = 0;     ///< since the first
        double memory = 0;      ///< MiB that are no file's
        double descriptors = 0; ///< open ones
        double threads = 0;
        double processorTime = 0; ///< seconds so far
        double calls = 0;         ///< of all clients so far
        double log = 0;           ///< KiB that the log holds
    };

    explicit Samples(const std::string& file);

    /// Takes what the process uses now.
    void Take(pid_t process, double calls, double logBytes);

    /// The median of one figure over the samples of a stretch of time, in parts of the whole.
    double Median(double Sample::*figure, double from, double to) const;

private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point m_begin = Clock::now();
    std::ofstream m_file;
    std::vector<Sample> m_samples;
};

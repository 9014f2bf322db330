// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <vector>

#include <json/value.h>

namespace hearthctl {

/// How long the calls of one run have taken. One thread.
class Latencies {
public:
    using Duration = std::chrono::steady_clock::duration;

    void Add(Duration latency, bool failed);

    int Count() const { return static_cast<int>(m_latencies.size()); }
    int Failed() const { return m_failed; }

    /// The smallest latency that this share of the calls, of which there is one at least, didn't
    /// exceed.
    double Microseconds(double quantile);

    /// For at least one call, which have taken `total` one after the other.
    void PrintSummary(Duration total);
    Json::Value Summary(Duration total);

private:
    std::vector<Duration> m_latencies; // sorted where somebody asks for quantiles
    int m_failed = 0;
};

} // namespace hearthctl

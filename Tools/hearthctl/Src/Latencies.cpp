// SPDX-License-Identifier: Apache-2.0
#include "Latencies.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <utility>

namespace hearthctl {

namespace {

constexpr std::array<std::pair<const char*, double>, 5> QUANTILES{
    {{"min", 0.0}, {"p50", 0.5}, {"p90", 0.9}, {"p99", 0.99}, {"max", 1.0}}};

double InSeconds(Latencies::Duration duration) {
    return std::chrono::duration<double>(duration).count();
}

} // namespace

void Latencies::Add(Duration latency, bool failed) {
    m_latencies.push_back(latency);
    m_failed += failed ? 1 : 0;
}

double Latencies::Microseconds(double quantile) {
    if (!std::is_sorted(m_latencies.begin(), m_latencies.end())) {
        std::sort(m_latencies.begin(), m_latencies.end());
    }
    const double rank = std::ceil(quantile * static_cast<double>(m_latencies.size()));
    const auto index = static_cast<std::size_t>(std::max(rank - 1.0, 0.0));
    return std::chrono::duration<double, std::micro>(m_latencies[index]).count();
}

void Latencies::PrintSummary(Duration total) {
    std::cout << std::fixed << Count() << " calls in " << std::setprecision(3) << InSeconds(total)
              << " s, " << std::setprecision(0) << Count() / InSeconds(total) << " a second, "
              << m_failed << " failed\n";
    for (const auto& [name, quantile] : QUANTILES) {
        std::cout << name << ' ' << std::setw(10) << std::setprecision(1) << Microseconds(quantile)
                  << " us\n";
    }
}

Json::Value Latencies::Summary(Duration total) {
    Json::Value summary;
    summary["calls"] = Count();
    summary["failed"] = m_failed;
    summary["seconds"] = InSeconds(total);
    for (const auto& [name, quantile] : QUANTILES) {
        summary["latency_us"][name] = Microseconds(quantile);
    }
    return summary;
}

} // namespace hearthctl

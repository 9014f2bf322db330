// SPDX-License-Identifier: Apache-2.0
#include "CallCounts.h"

#include <algorithm>
#include <utility>

namespace hearthctl {

namespace {

Microseconds Quantile(Latencies& latencies, double share) {
    return Microseconds(static_cast<Microseconds::rep>(latencies.Microseconds(share)));
}

} // namespace

void CallCounts::Add(const LogLine& line) {
    if (line.kind == LogLine::Kind::CALL) {
        m_services[line.service].latencies.Add(line.took, false);
    } else if (line.kind == LogLine::Kind::REFUSED || line.kind == LogLine::Kind::UNKNOWN_SERVICE) {
        ++m_services[line.service].refused;
    }
}

std::vector<CallCounts::Service> CallCounts::Take() {
    std::vector<Service> services;
    for (auto& [name, counted] : std::exchange(m_services, {})) {
        Service service{
            .name = name, .calls = counted.latencies.Count(), .refused = counted.refused};
        if (service.calls > 0) {
            service.median = Quantile(counted.latencies, 0.5);
            service.ninetyFifth = Quantile(counted.latencies, 0.95);
            service.longest = Quantile(counted.latencies, 1);
        }
        services.push_back(service);
    }
    std::stable_sort(services.begin(), services.end(), [](const Service& a, const Service& b) {
        return std::pair(a.calls, a.refused) > std::pair(b.calls, b.refused);
    });
    return services;
}

} // namespace hearthctl

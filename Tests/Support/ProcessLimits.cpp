// SPDX-License-Identifier: Apache-2.0
#include "ProcessLimits.h"

#include <cerrno>
#include <system_error>

#include "ProcessUse.h"

LowLimit::LowLimit(pid_t process, __rlimit_resource resource, rlim_t limit)
    : m_process(process), m_resource(resource) {
    if (prlimit(process, resource, nullptr, &m_before) == 0) {
        const rlimit low{limit, m_before.rlim_max};
        if (prlimit(process, resource, &low, nullptr) == 0) {
            return;
        }
    }
    throw std::system_error(errno, std::generic_category(), "prlimit");
}

LowLimit::~LowLimit() {
    prlimit(m_process, m_resource, &m_before, nullptr); // fails where the process has ended
}

rlim_t LowestFreeDescriptor(pid_t process) {
    int number = 0;
    for (const int open : Descriptors(process)) {
        if (open != number) {
            break;
        }
        ++number;
    }
    return static_cast<rlim_t>(number);
}

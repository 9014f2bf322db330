// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

/// A process's soft limit for as long as this object lives; then it is as it was before.
class LowLimit {
public:
    LowLimit(pid_t process, __rlimit_resource resource, rlim_t limit);
    ~LowLimit();
    LowLimit(const LowLimit&) = delete;
    LowLimit& operator=(const LowLimit&) = delete;

private:
    const pid_t m_process;
    const __rlimit_resource m_resource;
    rlimit m_before{};
};

/// With this limit a process gets no further descriptor, and keeps those that it has.
rlim_t LowestFreeDescriptor(pid_t process);

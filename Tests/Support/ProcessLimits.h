// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <set>
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

/// The numbers of its open descriptors.
std::set<int> Descriptors(pid_t process);
/// With this limit it gets no further one, and keeps those that it has.
rlim_t LowestFreeDescriptor(pid_t process);
std::size_t CountThreadsOf(pid_t process);
/// What its threads have used of the processors so far, those left out that have ended.
std::chrono::nanoseconds ProcessorTime(pid_t process);

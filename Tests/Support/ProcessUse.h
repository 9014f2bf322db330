// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>

// What a process uses now, as /proc tells it.

/// The memory that is no file's, in bytes; 0 where the process has ended.
std::size_t AnonymousMemory(pid_t process);

/// The numbers of its open descriptors.
std::set<int> Descriptors(pid_t process);
std::ptrdiff_t OpenDescriptors(pid_t process);
/// The number of one that is open on a file whose path ends like this.
std::optional<int> DescriptorOn(pid_t process, const std::string& pathsEnd);

std::size_t CountThreadsOf(pid_t process);
/// What all its threads have used of the processors so far, in steps of the clock (sysconf(3)).
std::chrono::nanoseconds ProcessorTime(pid_t process);

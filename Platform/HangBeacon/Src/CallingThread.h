// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>

#include "Dump.h"

// What the device has to know of a thread that uses it. The thread may be gone at any moment.
namespace hang_beacon {

/// The most that a line may have, its NUL excluded.
inline constexpr std::size_t LONGEST_LINE = 255;

/// The process of a thread, with its name and the time of now.
Dump ProcessOf(pid_t thread);

/// The thread with its name, and no lines.
ThreadLines ThreadOf(pid_t thread);

/// Reads the NUL-terminated text at an address of the thread's memory, cut at LONGEST_LINE. Returns
/// 0, or a negative errno value.
int ReadLine(pid_t thread, std::uintptr_t address, std::string& line);

} // namespace hang_beacon

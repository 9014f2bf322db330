// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace hang_beacon {

/// The lines that one thread has written between opening the device and closing it.
struct ThreadLines {
    pid_t thread = 0;
    std::string name;
    std::vector<std::string> lines;
};

/// What the threads of one process have written at one time.
struct Dump {
    pid_t process = 0;
    std::string name;
    std::chrono::system_clock::time_point time;
    std::vector<ThreadLines> threads; ///< in the order in which they began
    std::size_t size = 0;             ///< bytes that the lines count
    std::size_t dropped = 0;          ///< lines for which there was no room
};

} // namespace hang_beacon

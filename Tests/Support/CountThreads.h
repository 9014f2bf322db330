// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

/// How many threads of this process bear that name now.
inline int CountThreads(const std::string& name) {
    int count = 0;
    std::error_code gone; // threads may end while we look
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", gone)) {
        std::ifstream file(thread.path() / "comm");
        std::string line;
        count += std::getline(file, line) && line == name ? 1 : 0;
    }
    return count;
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/types.h>

/// Whether `thread`, one of this process, sleeps in the system call of that number.
inline bool IsIn(pid_t thread, long call) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    long number = -1; // the file says "running" while there is no system call
    return file >> number && number == call;
}

/// A thread of that name that sleeps in the system call, or 0.
inline pid_t FindThreadIn(const std::string& name, long call) {
    std::error_code gone; // threads may end while we look
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task", gone)) {
        std::ifstream file(entry.path() / "comm");
        const pid_t thread = std::stoi(entry.path().filename());
        std::string line;
        if (std::getline(file, line) && line == name && IsIn(thread, call)) {
            return thread;
        }
    }
    return 0;
}

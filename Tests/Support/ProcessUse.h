// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/types.h>

/// The memory of a process that is no file's, in bytes; 0 where it has ended.
inline std::size_t AnonymousMemory(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;) {
        if (std::size_t kibibytes = 0; word == "RssAnon:" && status >> kibibytes) {
            return kibibytes * 1024;
        }
    }
    return 0;
}

/// How many descriptors a process has open.
inline std::ptrdiff_t OpenDescriptors(pid_t pid) {
    const std::filesystem::directory_iterator folder("/proc/" + std::to_string(pid) + "/fd");
    return std::distance(begin(folder), end(folder));
}

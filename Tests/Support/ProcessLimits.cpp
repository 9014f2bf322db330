// SPDX-License-Identifier: Apache-2.0
#include "ProcessLimits.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace {

fs::path Folder(pid_t process, const char* name) {
    return fs::path("/proc") / std::to_string(process) / name;
}

} // namespace

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

std::set<int> Descriptors(pid_t process) {
    std::set<int> numbers;
    for (const auto& entry : fs::directory_iterator(Folder(process, "fd"))) {
        numbers.insert(std::stoi(entry.path().filename()));
    }
    return numbers;
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

std::size_t CountThreadsOf(pid_t process) {
    const fs::directory_iterator tasks(Folder(process, "task"));
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

std::chrono::nanoseconds ProcessorTime(pid_t process) {
    std::chrono::nanoseconds sum{0};
    for (const auto& task : fs::directory_iterator(Folder(process, "task"))) {
        std::int64_t nanoseconds = 0;
        std::ifstream(task.path() / "schedstat") >> nanoseconds;
        sum += std::chrono::nanoseconds(nanoseconds);
    }
    return sum;
}

// SPDX-License-Identifier: Apache-2.0
#include "ProcessUse.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

fs::path Folder(pid_t process) {
    return fs::path("/proc") / std::to_string(process);
}

} // namespace

std::size_t AnonymousMemory(pid_t process) {
    std::ifstream status(Folder(process) / "status");
    for (std::string word; status >> word;) {
        if (std::size_t kibibytes = 0; word == "RssAnon:" && status >> kibibytes) {
            return kibibytes * 1024;
        }
    }
    return 0;
}

std::set<int> Descriptors(pid_t process) {
    std::set<int> numbers;
    for (const auto& entry : fs::directory_iterator(Folder(process) / "fd")) {
        numbers.insert(std::stoi(entry.path().filename()));
    }
    return numbers;
}

std::ptrdiff_t OpenDescriptors(pid_t process) {
    return std::ssize(Descriptors(process));
}

std::optional<int> DescriptorOn(pid_t process, const std::string& pathsEnd) {
    for (const int number : Descriptors(process)) {
        std::error_code closed; // meanwhile
        const fs::path link = Folder(process) / "fd" / std::to_string(number);
        if (fs::read_symlink(link, closed).string().ends_with(pathsEnd)) {
            return number;
        }
    }
    return std::nullopt;
}

std::size_t CountThreadsOf(pid_t process) {
    const fs::directory_iterator tasks(Folder(process) / "task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

// User's and system's, the 14th and 15th field; the name, the second one, has no blank here.
std::chrono::nanoseconds ProcessorTime(pid_t process) {
    std::ifstream stat(Folder(process) / "stat");
    std::string skipped;
    for (int field = 1; field < 14; ++field) {
        stat >> skipped;
    }
    std::int64_t user = 0;
    std::int64_t system = 0;
    stat >> user >> system;
    return (user + system) * std::chrono::nanoseconds(std::chrono::seconds(1)) /
           sysconf(_SC_CLK_TCK);
}

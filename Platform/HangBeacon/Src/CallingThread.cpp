// SPDX-License-Identifier: Apache-2.0
#include "CallingThread.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>

namespace hang_beacon {

namespace {

std::string ProcFile(pid_t thread, const char* name) {
    return "/proc/" + std::to_string(thread) + "/" + name;
}

std::string NameOf(pid_t thread) {
    std::string name;
    std::getline(std::ifstream(ProcFile(thread, "comm")) >> std::ws, name);
    return name;
}

} // namespace

Dump ProcessOf(pid_t thread) {
    Dump dump;
    dump.process = thread;
    dump.time = std::chrono::system_clock::now();
    std::ifstream status(ProcFile(thread, "status"));
    std::string key;
    while (status >> key && key != "Tgid:") {
    }
    status >> dump.process;
    dump.name = NameOf(dump.process);
    return dump;
}

ThreadLines ThreadOf(pid_t thread) {
    return {thread, NameOf(thread), {}};
}

// Page by page: the text may end right ahead of a page that isn't there.
int ReadLine(pid_t thread, std::uintptr_t address, std::string& line) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    line.clear();
    while (line.size() < LONGEST_LINE) {
        std::array<char, LONGEST_LINE> part{};
        const std::uintptr_t from = address + line.size();
        const std::size_t size =
            std::min<std::size_t>(LONGEST_LINE - line.size(), page - from % page);
        const iovec local{part.data(), size};
        // NOLINTNEXTLINE(performance-no-int-to-ptr): an address of another process
        const iovec remote{reinterpret_cast<void*>(from), size};
        const ssize_t count = process_vm_readv(thread, &local, 1, &remote, 1, 0);
        if (count <= 0) {
            return count < 0 ? -errno : -EFAULT;
        }
        const std::string_view read(part.data(), static_cast<std::size_t>(count));
        const std::size_t end = read.find('\0');
        line.append(read.substr(0, end));
        if (end != std::string_view::npos) {
            return 0;
        }
    }
    return 0;
}

} // namespace hang_beacon

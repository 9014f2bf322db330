// SPDX-License-Identifier: Apache-2.0

// The watch climbs and comes back. At the start it is placed on the directory of the crash files
// or, where that doesn't exist yet, on its nearest ancestor. Each creation below the ancestor has
// the whole path tried again, which moves the watch down, at last to the directory itself; the
// files that were quicker than that watch are looked up then. From there it never climbs again.
//
// The loop is one blocking read in one job that never ends by itself. It keeps the descriptor's
// number: the destructor closes it and doesn't wait for the loop, and all that a read brings then
// are events without a name, which touch nothing of this object.

#include "APIWatchdog.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <regex>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include "Job.h"
#include "Log.h"
#include "Worker.h"
#include "WorkerFactory.h"

namespace {

constexpr const char* WORKER_NAME = "APIWatchdog";
constexpr const char* THREADS_DIRECTORY = "/proc/self/task";

} // namespace

const char* APIWatchdog::MONITORED_DIRECTORY = "/opt/usr/share/crash/core/mincore";
const char* APIWatchdog::FILE_NAME_PATTERN = R"(\d+\.[^.]+?\.[^.]+?\.(\d+)\..+)";

APIWatchdog::APIWatchdog(std::function<void(std::string)> callback)
    : m_inotifyFd(-1), m_ancestorWatch(-1), m_directoryWatch(-1), m_callback(std::move(callback)) {
    LOGI("Watchdog Created");
    PrepareHandler();
    struct sigaction action {};
    action.sa_handler = SignalHandler;
    action.sa_flags = SA_RESTART; // what a dump interrupts goes on
    sigfillset(&action.sa_mask);
    if (sigaction(SIGNAL, &action, nullptr) != 0) {
        LOGE("Cannot register signal handler.");
    }
    m_inotifyFd = inotify_init();
    if (m_inotifyFd < 0) {
        LOGE("Cannot open inotify");
        return;
    }
    if (!AddWatch(MONITORED_DIRECTORY)) {
        return;
    }
    m_worker = marrow::ser::WorkerFactory::Get().GetWorker(WORKER_NAME);
    auto* job = new marrow::ser::Job([this] { MainLoop(); });
    m_worker->Do(job);
}

APIWatchdog::~APIWatchdog() {
    LOGI("Watchdog closing and release read() operation");
    if (m_directoryWatch > 0) {
        inotify_rm_watch(m_inotifyFd, m_directoryWatch);
    }
    if (m_ancestorWatch > 0) {
        inotify_rm_watch(m_inotifyFd, m_ancestorWatch);
    }
    if (m_inotifyFd >= 0) {
        close(m_inotifyFd);
    }
}

bool APIWatchdog::AddWatch(std::string path) {
    if (access(path.c_str(), F_OK) != 0) {
        LOGW("Cannot monitor non-existing name %s.", path.c_str());
        return AddWatch(path.substr(0, path.rfind('/')));
    }
    LOGI("Monitoring %s.", path.c_str());
    int& watch = path == MONITORED_DIRECTORY ? m_directoryWatch : m_ancestorWatch;
    if (m_ancestorWatch > 0) {
        LOGI("Release previously added watch %d.", m_ancestorWatch);
        inotify_rm_watch(m_inotifyFd, m_ancestorWatch);
        m_ancestorWatch = -1;
    }
    watch = inotify_add_watch(m_inotifyFd, path.c_str(), IN_CREATE);
    if (watch > 0) {
        LOGI("inotify has been set up properly (new wd %d)", watch);
    } else {
        LOGE("Error in inotify_add_watch with errno %d", errno);
    }
    return watch > 0;
}

std::vector<std::string> APIWatchdog::GetDirContent(std::string path) {
    std::vector<std::string> names;
    const auto close = [](DIR* directory) { closedir(directory); };
    const std::unique_ptr<DIR, decltype(close)> directory(opendir(path.c_str()), close);
    if (directory == nullptr) {
        return names;
    }
    while (const dirent* entry = readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    return names;
}

void APIWatchdog::MainLoop() {
    LOGI("Watchdog started");
    const int inotifyFd = m_inotifyFd;
    while (true) {
        alignas(inotify_event) std::array<char, BUFF_SIZE> events{};
        const ssize_t size = read(inotifyFd, events.data(), events.size());
        if (size <= 0) {
            LOGW("Read failed, finishing.");
            break;
        }
        HandleEvents(events.data(), static_cast<std::size_t>(size));
    }
    LOGI("Watchdog finished");
}

void APIWatchdog::HandleEvents(const char* events, std::size_t size) {
    for (std::size_t offset = 0; offset < size;) {
        inotify_event event{};
        std::memcpy(&event, events + offset, sizeof(event));
        const char* const name = events + offset + sizeof(event);
        offset += sizeof(event) + event.len;
        if (event.len == 0) {
            LOGW("Event skipped : wd=%d mask=%d", event.wd, static_cast<int>(event.mask));
            continue;
        }
        LOGI("[watch %d] File modified/created %s", event.wd, name);
        if (event.wd == m_directoryWatch) {
            RunCallback(name);
            continue;
        }
        AddWatch(MONITORED_DIRECTORY);
        if (m_directoryWatch > 0 && m_ancestorWatch <= 0) {
            CheckMissedEvent();
        }
    }
}

void APIWatchdog::CheckMissedEvent() {
    LOGI("Checking %s directory content.", MONITORED_DIRECTORY);
    for (const std::string& name : GetDirContent(MONITORED_DIRECTORY)) {
        LOGI("Found %s", name.c_str());
        RunCallback(name);
    }
}

void APIWatchdog::RunCallback(std::string fileName) {
    const std::regex pattern(FILE_NAME_PATTERN);
    std::smatch match;
    if (!std::regex_match(fileName, match, pattern)) {
        LOGW("File does not contain pattern we want to monitor.");
        return;
    }
    m_callback(match[1]);
}

void APIWatchdog::PrintInfo() {
    LOGI("Threads dumps");
    const long self = syscall(SYS_gettid);
    for (const std::string& name : GetDirContent(THREADS_DIRECTORY)) {
        const int thread = std::stoi(name);
        if (thread != self) {
            syscall(SYS_tkill, thread, SIGNAL);
        }
    }
}

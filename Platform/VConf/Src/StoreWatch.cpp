// SPDX-License-Identifier: Apache-2.0

// Two inotify descriptors. The bell's is read at once. The other tells of the database's own files,
// which are written before a change can be seen, and many times for each: the first of it arms a
// look a little later, and until then that descriptor isn't listened to. So a change without a bell
// is noticed as well, whether its writer has died in between or knows nothing of bells, and a
// change with one costs at most one look more in that time. A writer that waits for the disk makes
// its change visible long after it has written, so that a last look follows once all is quiet.
#include "StoreWatch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <system_error>
#include <utility>

#include "TimeSpec.h"

namespace vconf {

namespace {

constexpr std::chrono::milliseconds DELAY(20);
constexpr std::chrono::seconds RETRY(1); // what didn't work, or may have been too early

int Checked(int descriptor, const char* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return descriptor;
}

} // namespace

StoreWatch::StoreWatch(StorePaths paths)
    : m_paths(std::move(paths)), m_wake(Checked(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")),
      m_bell(Checked(inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "inotify")),
      m_files(Checked(inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "inotify")) {}

bool StoreWatch::Watch(const marrow::base::FileDescriptor& events, const std::string& path,
                       unsigned what) const {
    if (inotify_add_watch(events.Number(), path.c_str(), what) >= 0) {
        return true;
    }
    if (errno == ENOSPC || errno == ENOMEM) {
        throw std::system_error(errno, std::generic_category(), "inotify: " + path);
    }
    return false; // it is missing, or not to be read
}

bool StoreWatch::WatchFolderOf(const std::string& path) const {
    return Watch(m_files, std::filesystem::path(path).parent_path().string(),
                 IN_ONLYDIR | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF |
                     IN_MOVE_SELF);
}

bool StoreWatch::Renew() {
    bool isComplete = WatchFolderOf(m_paths.database);
    isComplete &= m_paths.name == m_paths.database || WatchFolderOf(m_paths.name); // of the link
    isComplete &= Watch(m_files, m_paths.database, IN_MODIFY);
    isComplete &= Watch(m_files, m_paths.log, IN_MODIFY);
    isComplete &= Watch(m_bell, m_paths.bell, IN_MODIFY);
    return isComplete;
}

void StoreWatch::Follow(const StorePaths& paths) {
    if (m_paths != paths) {
        m_paths = paths;
        Renew();
        LookAgain(); // at what has been changed ahead of that
    }
}

void StoreWatch::LookAgain() {
    m_look = std::min(m_look, Clock::now() + RETRY);
}

bool StoreWatch::DrainFiles() {
    // What it says doesn't matter, not even that something was lost: each event asks for a look.
    alignas(inotify_event) std::array<char, 4096> events;
    bool wereThere = false;
    while (read(m_files.Number(), events.data(), events.size()) > 0) {
        wereThere = true;
    }
    return wereThere;
}

StoreWatch::Noticed StoreWatch::Wait(bool onlyWake) {
    while (true) {
        const Clock::time_point limit = onlyWake ? Clock::time_point::max() : m_look;
        timespec timeout{};
        if (limit != Clock::time_point::max()) {
            timeout =
                marrow::base::ToTimeSpec(std::max(Clock::duration::zero(), limit - Clock::now()));
        }
        // A negative descriptor is left out.
        std::array<pollfd, 3> waiting{{{m_wake.Number(), POLLIN, 0},
                                       {onlyWake ? -1 : m_bell.Number(), POLLIN, 0},
                                       {onlyWake || m_isArmed ? -1 : m_files.Number(), POLLIN, 0}}};
        ppoll(waiting.data(), waiting.size(),
              limit != Clock::time_point::max() ? &timeout : nullptr, nullptr);
        if (waiting[0].revents != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t size = read(m_wake.Number(), &count, sizeof(count));
            return Noticed::Wake;
        }
        if (waiting[2].revents != 0) {
            m_isArmed = true;
            m_look = std::min(m_look, Clock::now() + DELAY);
        }
        if (waiting[1].revents != 0) {
            // All that it tells is the same event, of which the kernel keeps one.
            alignas(inotify_event) std::array<char, 4096> events;
            [[maybe_unused]] const ssize_t size =
                read(m_bell.Number(), events.data(), events.size());
            return Noticed::Bell;
        }
        if (!onlyWake && Clock::now() >= m_look) {
            m_look = DrainFiles() ? Clock::now() + RETRY : Clock::time_point::max();
            m_isArmed = false;
            return Noticed::Files;
        }
    }
}

void StoreWatch::Wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(m_wake.Number(), &one, sizeof(one));
}

} // namespace vconf

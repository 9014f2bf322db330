// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "APIWatchdog.h"
#include "Dlog.h"
#include "KeptWorker.h"
#include "LogCapture.h"
#include "PrivateMember.h"
#include "SystemCall.h"
#include "WaitUntil.h"
#include "WorkerTools.h"

namespace watchdog {

struct InotifyFd : PrivateMember<InotifyFd, int APIWatchdog::*> {};
struct AncestorWatch : PrivateMember<AncestorWatch, int APIWatchdog::*> {};
struct DirectoryWatch : PrivateMember<DirectoryWatch, int APIWatchdog::*> {};
struct TheWorker : PrivateMember<TheWorker, std::shared_ptr<marrow::ser::Worker> APIWatchdog::*> {};

} // namespace watchdog

template struct ExposeMember<watchdog::InotifyFd, &APIWatchdog::m_inotifyFd>;
template struct ExposeMember<watchdog::AncestorWatch, &APIWatchdog::m_ancestorWatch>;
template struct ExposeMember<watchdog::DirectoryWatch, &APIWatchdog::m_directoryWatch>;
template struct ExposeMember<watchdog::TheWorker, &APIWatchdog::m_worker>;

/// The directory of the crash files and those above it. In a private view only.
struct CrashFolders {
    static inline const std::string CRASH = "/opt/usr/share/crash";
    static inline const std::string CORE = CRASH + "/core";
    static inline const std::string MINCORE = CORE + "/mincore";

    CrashFolders() { Clear(); }
    ~CrashFolders() { Clear(); }
    CrashFolders(const CrashFolders&) = delete;
    CrashFolders& operator=(const CrashFolders&) = delete;

    static void Make(const std::string& folder) { std::filesystem::create_directories(folder); }
    static void Touch(const std::string& file) { std::ofstream(file) << "core"; }

private:
    static void Clear() {
        for (const auto& entry : std::filesystem::directory_iterator("/opt/usr")) {
            std::filesystem::remove_all(entry);
        }
    }
};

/// A watchdog that notes what its callback is given. Its loop has ended when this object is gone.
class TestWatchdog {
public:
    using Texts = std::vector<std::string>;
    /// The inode of what is watched, and the events that are wanted.
    using Watches = std::vector<std::pair<ino_t, std::uint32_t>>;

    /// `onCrash` is called ahead of the note.
    explicit TestWatchdog(std::function<void(std::string)> onCrash = [](const std::string&) {})
        : m_onCrash(std::move(onCrash)),
          m_watchdog(new APIWatchdog([this](std::string pid) { Note(std::move(pid)); })),
          m_copy(dup(Fd())), m_hasLoop(*m_watchdog.*MemberOf(watchdog::TheWorker()) != nullptr) {
        if (m_hasLoop) {
            KeepWorker("APIWatchdog");
            WaitUntilIdle();
        }
    }
    ~TestWatchdog() {
        EndLoop();
        Destroy();
        close(m_copy);
    }
    TestWatchdog(const TestWatchdog&) = delete;
    TestWatchdog& operator=(const TestWatchdog&) = delete;

    APIWatchdog* operator->() const { return m_watchdog.get(); }
    int Fd() const { return *m_watchdog.*MemberOf(watchdog::InotifyFd()); }
    // Asked for when the loop has logged that it has set them, and before the next event: an order
    // through the kernel, which the sanitizer doesn't see.
    [[gnu::no_sanitize("thread")]] int AncestorWatch() const {
        return *m_watchdog.*MemberOf(watchdog::AncestorWatch());
    }
    [[gnu::no_sanitize("thread")]] int DirectoryWatch() const {
        return *m_watchdog.*MemberOf(watchdog::DirectoryWatch());
    }
    bool HasLoop() const { return m_hasLoop; } ///< whether it was given to a worker

    void Destroy() { m_watchdog.reset(); }

    /// Waits until the loop has handled every event that there is and sleeps in its read.
    bool WaitUntilIdle() const {
        return WaitUntil([this] {
            int unread = 0;
            ioctl(m_copy, FIONREAD, &unread);
            return unread == 0 && FindThreadIn("APIWatchdog_thr", SYS_read) != 0;
        });
    }

    /// Adds a watch of the test's own and has it yield an event that is too long for the loop,
    /// which ends; false where it doesn't.
    bool EndLoop() const {
        if (!m_hasLoop) {
            return true;
        }
        const std::string folder = "/opt/usr/the end";
        CrashFolders::Make(folder);
        syscall(SYS_inotify_add_watch, m_copy, folder.c_str(), IN_CREATE); // no faulty one
        CrashFolders::Touch(folder + "/" + std::string(250, 'x'));
        return HasEnded();
    }
    /// Waits for the loop's end, behind which its worker takes other jobs.
    static bool HasEnded() {
        return RunOn(marrow::ser::WorkerFactory::Get().GetWorker("APIWatchdog"));
    }

    /// What the kernel watches for it now.
    Watches Watched() const {
        Watches watches;
        std::ifstream file("/proc/self/fdinfo/" + std::to_string(m_copy));
        for (std::string line; std::getline(file, line);) {
            unsigned long inode = 0;
            unsigned mask = 0;
            if (std::sscanf(line.c_str(), "inotify wd:%*x ino:%lx sdev:%*x mask:%x", &inode,
                            &mask) == 2) {
                watches.emplace_back(inode, mask);
            }
        }
        return watches;
    }
    /// The one watch that there should be.
    static Watches WatchOn(const std::string& folder) {
        struct stat status {};
        stat(folder.c_str(), &status);
        return {{status.st_ino, 0x100}};
    }

    Texts Crashed() {
        const std::scoped_lock lock(m_mutex);
        return m_crashed;
    }
    bool WaitForCrashes(std::size_t count) {
        return WaitUntil([&] { return Crashed().size() >= count; });
    }

private:
    void Note(std::string pid) {
        m_onCrash(pid);
        const std::scoped_lock lock(m_mutex);
        m_crashed.push_back(std::move(pid));
    }

    std::function<void(std::string)> m_onCrash;
    std::mutex m_mutex;
    Texts m_crashed;
    std::unique_ptr<APIWatchdog> m_watchdog;
    int m_copy; ///< of the inotify descriptor, whose watches outlive the object through it
    bool m_hasLoop;
};

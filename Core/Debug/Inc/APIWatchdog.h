// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace marrow::ser {
class Worker;
}

/// Watches the directory in which the platform leaves a crash file for each process that dies, and
/// hands the dead process's id to a callback; and has every thread of this process write its stack
/// to the deadlock watchdog's device.
///
/// The constructor places the watch; from then on everything happens on the worker "APIWatchdog",
/// the callback included, so that crash files are handled one after the other. There is no lock:
/// that worker alone writes the watch descriptors. The signal handler runs on all other threads.
class APIWatchdog {
public:
    static constexpr int SIGNAL = 12;     ///< SIGUSR2, which asks a thread for its stack
    static constexpr int BUFF_SIZE = 256; ///< bytes of one read, of a line and of a name in it
    static const char* MONITORED_DIRECTORY;
    /// A crash file's name; the first group is the process id.
    static const char* FILE_NAME_PATTERN;

    /// Installs the signal handler and starts watching. `callback` gets the process id as it stands
    /// in the file's name. Where nothing can be watched the log says so, and it is never called.
    explicit APIWatchdog(std::function<void(std::string)> callback);
    /// Ends the watching. A callback that is running is not waited for.
    ~APIWatchdog();
    APIWatchdog(const APIWatchdog&) = delete;
    APIWatchdog& operator=(const APIWatchdog&) = delete;

    /// Watches `path`, or its nearest ancestor below the root that exists; one has to. Returns
    /// whether that watch is in place.
    bool AddWatch(std::string path);

    /// The names in a directory, in its order; none where it can't be read.
    std::vector<std::string> GetDirContent(std::string path);

    /// Reads events for the life of this object, or until a name of more than 239 bytes comes; one
    /// job.
    void MainLoop();

    /// Handles the files that came before the watch on the directory did.
    void CheckMissedEvent();

    /// Calls the callback with the process id in `fileName`, if it is a crash file's name.
    void RunCallback(std::string fileName);

    /// Asks every thread but the calling one for its stack, and doesn't wait for it.
    void PrintInfo();

    /// Writes the stack of the thread that it interrupts to the device. Async-signal-safe.
    static void SignalHandler(int signal);

private:
    static void PrepareHandler();
    void HandleEvents(const char* events, std::size_t size);

    int m_inotifyFd;
    int m_ancestorWatch;
    int m_directoryWatch;
    std::shared_ptr<marrow::ser::Worker> m_worker;
    std::function<void(std::string)> m_callback;
};

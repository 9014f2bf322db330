// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

/// The installed daemon, run in a private view of the file system with manifests of the test's own,
/// on the bus that DBUS_SYSTEM_BUS_ADDRESS names. It ends with this object. What valgrind finds in
/// it fails the test (UnderValgrind.h).
class Daemon {
public:
    struct Manifest {
        std::string library; ///< file name beside the tests' own services, or a path
        int priority = 0;
        int launchType = 0;
        std::string more{}; ///< further members, each with a comma ahead
    };

    Daemon();
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Before Start.
    void AddManifest(const std::string& fileName, const std::string& text);
    void AddManifestFolder(const std::string& name);
    /// A manifest whose reader waits until somebody writes it. The answer is where.
    std::string AddManifestPipe(const std::string& fileName);
    void AddService(const std::string& name, const Manifest& manifest);
    /// In one file, in which they are read in alphabetical order; files come in no order at all.
    void AddServices(const std::map<std::string, Manifest>& services);
    void RemoveManifestFolder();
    void RemovePipe();
    void SetEnvironment(const std::string& name, const std::string& value);

    /// A library for LD_PRELOAD, which has been built without the sanitizers' code.
    void Preload(const std::string& library);

    /// A command that runs the view, as its own arguments.
    void SetLauncher(const std::vector<std::string>& words);

    void Start(const std::vector<std::string>& arguments = {});
    /// Ends the daemon with SIGKILL, as nothing else ends it.
    void Kill();
    bool IsRunning();
    /// Waits for the daemon to end by itself; nothing when it still runs after `limit`. The status
    /// is the signal's number where a signal has ended it, else the exit status.
    std::optional<int> WaitForEnd(std::chrono::seconds limit = std::chrono::seconds(20));

    std::string Log() const;    ///< standard error
    std::string Output() const; ///< standard output
    bool WaitForLog(const std::string& text, int count = 1) const;
    bool WaitForOutput(const std::string& text, int count = 1) const;
    /// Where its standard output goes.
    std::string OutputFile() const { return m_folder + "/output"; }
    std::size_t LogSize() const; ///< of both, in bytes
    /// Empties both, for those who run it for hours.
    void ClearLog() const;

    /// The daemon's own process, inside its view.
    pid_t Pid() const;
    /// What is seen as /dev/hang_beacon in the daemon's view, and as /opt/usr.
    std::string Device() const { return m_folder + "/hang_beacon"; }
    std::string OptUsr() const { return m_folder + "/opt-usr"; }
    /// Where it watches for crash files.
    std::string CrashFolder() const { return OptUsr() + "/share/crash/core/mincore"; }
    /// The debug shell's pipe, as it is seen outside of the daemon's view.
    std::string Pipe() const { return m_app + "/api/control"; }

private:
    std::string Reports() const { return m_folder + "/reports"; }

    std::string m_folder;
    std::string m_app;
    std::vector<std::string> m_launcher;
    std::map<std::string, std::string> m_environment;
    pid_t m_pid = -1; // of the view, which may have the daemon as a child
    std::optional<int> m_status;
};

/// How often `part` occurs in `text`.
int CountOf(const std::string& text, const std::string& part);

// SPDX-License-Identifier: Apache-2.0
#include "Daemon.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FileDescriptor.h"
#include "ReadFile.h"
#include "UnderValgrind.h"
#include "WaitUntil.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* APP = "/usr/apps/org.norvane.hearthd";

void MakePipe(const std::string& path) {
    if (mkfifo(path.c_str(), 0600) != 0) {
        throw std::runtime_error("mkfifo " + path);
    }
}

} // namespace

int CountOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

Daemon::Daemon() {
    m_folder = (fs::temp_directory_path() / "hearthd-daemon-XXXXXX").string();
    if (mkdtemp(m_folder.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + m_folder);
    }
    m_app = m_folder + "/apps/org.norvane.hearthd";
    const std::string installed = std::string(HEARTHD_STAGE) + APP;
    fs::create_directories(m_app + "/etc/manifests");
    fs::create_directory_symlink(installed + "/bin", m_app + "/bin");
    fs::create_directory_symlink(installed + "/lib", m_app + "/lib");
    fs::create_directories(m_app + "/api");
    MakePipe(Pipe());
    std::ofstream{Device()};
    fs::create_directories(OptUsr());
    std::ofstream(m_folder + "/log");
    std::ofstream(m_folder + "/output");
}

Daemon::~Daemon() {
    Kill();
    ExpectCleanReports(Reports());
    fs::remove_all(m_folder);
}

void Daemon::AddManifest(const std::string& fileName, const std::string& text) {
    std::ofstream(m_app + "/etc/manifests/" + fileName) << text;
}

void Daemon::AddManifestFolder(const std::string& name) {
    fs::create_directory(m_app + "/etc/manifests/" + name);
}

std::string Daemon::AddManifestPipe(const std::string& fileName) {
    std::string path = m_app + "/etc/manifests/" + fileName;
    MakePipe(path);
    return path;
}

void Daemon::AddService(const std::string& name, const Manifest& manifest) {
    AddServices({{name, manifest}});
}

void Daemon::AddServices(const std::map<std::string, Manifest>& services) {
    std::string text;
    for (const auto& [name, manifest] : services) {
        const std::string path = manifest.library.find('/') == std::string::npos
                                     ? std::string(HEARTHD_TEST_SERVICES) + "/" + manifest.library
                                     : manifest.library;
        text += (text.empty() ? "{" : ",") + ('"' + name) + R"(":{"lib_path":")" + path +
                R"(","priority":)" + std::to_string(manifest.priority) + R"(,"launch_type":)" +
                std::to_string(manifest.launchType) + manifest.more + "}";
    }
    AddManifest(services.begin()->first + ".json", text + "}");
}

void Daemon::RemoveManifestFolder() {
    fs::remove_all(m_app + "/etc");
}

void Daemon::RemovePipe() {
    fs::remove(Pipe());
}

void Daemon::SetEnvironment(const std::string& name, const std::string& value) {
    m_environment[name] = value;
}

void Daemon::Preload(const std::string& library) {
    SetEnvironment("LD_PRELOAD", library);
    SetEnvironment("ASAN_OPTIONS", "verify_asan_link_order=0"); // which wants to be the first one
}

void Daemon::SetLauncher(const std::vector<std::string>& words) {
    m_launcher = words;
}

void Daemon::Start(const std::vector<std::string>& arguments) {
    const std::string program = std::string(APP) + "/bin/hearthd";
    std::vector<std::string> command{"env"};
    for (const auto& [name, value] : m_environment) {
        command.push_back(name + "=" + value);
    }
    command.insert(command.end(), m_launcher.begin(), m_launcher.end());
    command.insert(command.end(), {HEARTHD_PRIVATE_VIEW, m_folder});
    const std::vector<std::string> tool = ValgrindCommand(Reports());
    command.insert(command.end(), tool.begin(), tool.end());
    command.push_back(program);
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : command) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    m_status.reset();
    const std::string logPath = m_folder + "/log";
    const std::string outputPath = m_folder + "/output";
    m_pid = fork(); // the child allocates nothing: another thread may have the allocator's lock
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const int log = open(logPath.c_str(), O_WRONLY | O_APPEND);
        const int output = open(outputPath.c_str(), O_WRONLY | O_APPEND);
        dup2(output, STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
}

void Daemon::Kill() {
    if (ReportsAtItsEnd() && IsRunning()) {
        kill(Pid(), SIGTERM); // the view would kill it
        WaitForEnd();
    }
    if (m_pid > 0 && IsRunning()) {
        const marrow::base::FileDescriptor daemon(
            static_cast<int>(syscall(SYS_pidfd_open, Pid(), 0)));
        // Where the view needs cleaning up a script stands in between, which passes this on.
        kill(m_pid, SIGTERM);
        if (!WaitForEnd(std::chrono::seconds(5))) {
            kill(m_pid, SIGKILL);
            WaitForEnd();
        }
        // It ends with its view, a little later: then its bus name and its keys are free.
        pollfd ended{daemon.Number(), POLLIN, 0};
        EXPECT_EQ(poll(&ended, 1, 20000), 1) << "the daemon outlives its view";
    }
}

bool Daemon::IsRunning() {
    if (m_pid <= 0 || m_status) {
        return false;
    }
    int status = 0;
    if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
        const int exit = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
        m_status = WIFSIGNALED(status) ? WTERMSIG(status) : exit > 128 ? exit - 128 : exit;
    }
    return !m_status;
}

std::optional<int> Daemon::WaitForEnd(std::chrono::seconds limit) {
    WaitUntil([this] { return !IsRunning(); }, limit);
    return m_status;
}

std::size_t Daemon::LogSize() const {
    return fs::file_size(m_folder + "/log") + fs::file_size(m_folder + "/output");
}

// The daemon writes at the end of each, wherever that is.
void Daemon::ClearLog() const {
    fs::resize_file(m_folder + "/log", 0);
    fs::resize_file(m_folder + "/output", 0);
}

pid_t Daemon::Pid() const {
    pid_t pid = m_pid;
    pid_t child = m_pid;
    while (child > 0) {
        pid = child;
        const std::string process = std::to_string(pid);
        child = 0;
        std::ifstream("/proc/" + process + "/task/" + process + "/children") >> child;
    }
    return pid;
}

std::string Daemon::Log() const {
    return ReadFile(m_folder + "/log");
}

std::string Daemon::Output() const {
    return ReadFile(OutputFile());
}

bool Daemon::WaitForLog(const std::string& text, int count) const {
    return WaitUntil([&] { return CountOf(Log(), text) >= count; });
}

bool Daemon::WaitForOutput(const std::string& text, int count) const {
    return WaitUntil([&] { return CountOf(Output(), text) >= count; });
}

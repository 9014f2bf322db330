// SPDX-License-Identifier: Apache-2.0
#include "PrivateBus.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int START_LIMIT_MS = 20000;

constexpr const char* EVERYTHING =
    R"(<policy context="default"><allow user="*"/><allow own="*"/>
<allow send_type="method_call"/><allow send_type="signal"/>
<allow send_requested_reply="true"/><allow receive_sender="*"/></policy>)";

// What a system's bus allows before any service's policy comes to it.
constexpr const char* OF_THE_SYSTEM =
    R"(<policy context="default"><allow user="*"/><deny own="*"/>
<deny send_type="method_call"/><allow send_type="signal"/>
<allow send_requested_reply="true" send_type="method_return"/>
<allow send_requested_reply="true" send_type="error"/>
<allow receive_type="method_call"/><allow receive_type="method_return"/>
<allow receive_type="error"/><allow receive_type="signal"/>
<allow send_destination="org.freedesktop.DBus"/></policy>)";

} // namespace

PrivateBus::PrivateBus(const Settings& settings) {
    const std::string policy =
        settings.policyFile.empty()
            ? EVERYTHING
            : std::string(OF_THE_SYSTEM) + "<include>" + settings.policyFile + "</include>";
    std::string folder = (std::filesystem::temp_directory_path() / "hearthd-bus-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + folder);
    }
    m_folder = folder;
    m_address = "unix:path=" + m_folder + "/socket";
    std::ofstream(m_folder + "/bus.conf")
        << R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><auth>EXTERNAL</auth><listen>)"
        << m_address << "</listen>" << policy << settings.limits << "</busconfig>\n";
    chmod(m_folder.c_str(), 0755); // for other users
    setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1);
    Start();
}

PrivateBus::~PrivateBus() {
    Kill();
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    std::filesystem::remove_all(m_folder);
}

void PrivateBus::Start() {
    std::filesystem::remove(m_folder + "/socket");
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2");
    }
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves no bus behind
        // The bus prints its address on this descriptor when it listens.
        dup2(ends[1], 3);
        const std::string configuration = "--config-file=" + m_folder + "/bus.conf";
        execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--nopidfile",
               "--print-address=3", nullptr);
        _exit(127);
    }
    close(ends[1]);
    pollfd ready{ends[0], POLLIN, 0};
    std::array<char, 256> line{};
    const bool started =
        poll(&ready, 1, START_LIMIT_MS) == 1 && read(ends[0], line.data(), line.size()) > 0;
    close(ends[0]);
    if (!started) {
        throw std::runtime_error("dbus-daemon doesn't start");
    }
}

void PrivateBus::Pause() const {
    kill(m_pid, SIGSTOP);
}

void PrivateBus::Continue() const {
    kill(m_pid, SIGCONT);
}

void PrivateBus::Kill() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

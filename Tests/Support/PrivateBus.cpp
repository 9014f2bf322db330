// SPDX-License-Identifier: Apache-2.0
#include "PrivateBus.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FileDescriptor.h"
#include "Patience.h"
#include "WaitUntil.h"

namespace {

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

// The bus's own default. A test's client may say nothing until the daemon is up.
constexpr int AUTHENTICATION_MS = 30'000;

bool TakesConnections(const std::string& path) {
    const marrow::base::FileDescriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return connect(client.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) ==
           0;
}

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
        << m_address << "</listen>" << policy << settings.limits << "<limit name=\"auth_timeout\">"
        << Patient(AUTHENTICATION_MS) << "</limit></busconfig>\n";
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
    const std::string configuration = "--config-file=" + m_folder + "/bus.conf";
    const char* const wanted = std::getenv("HEARTHD_TEST_BUS");
    const bool isBroker = wanted != nullptr && wanted == std::string_view("broker");
    std::filesystem::remove(m_folder + "/socket");
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves no bus behind
        if (isBroker) {
            execl(HEARTHD_RUN_BROKER, HEARTHD_RUN_BROKER, m_folder.c_str(), nullptr);
        } else {
            execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--nopidfile",
                   nullptr);
        }
        _exit(127);
    }
    if (!WaitUntil([this] { return TakesConnections(m_folder + "/socket"); })) {
        throw std::runtime_error("the bus doesn't start");
    }
    chmod((m_folder + "/socket").c_str(), 0777); // every user's
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

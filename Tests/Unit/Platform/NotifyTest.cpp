// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "HangBeacon.h"
#include "ProcStat.h"

namespace {

// The service manager's end of the notification socket.
class Manager {
public:
    Manager() {
        m_path = (std::filesystem::temp_directory_path() / "hearthd-notify-XXXXXX").string();
        EXPECT_NE(mkdtemp(m_path.data()), nullptr);
        const std::string socketPath = m_path + "/socket";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socketPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
        m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        setenv("NOTIFY_SOCKET", socketPath.c_str(), 1);
    }
    ~Manager() {
        close(m_socket);
        unsetenv("NOTIFY_SOCKET");
        std::filesystem::remove_all(m_path);
    }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    std::string Receive() const {
        std::array<char, 128> text{};
        return recv(m_socket, text.data(), text.size() - 1, MSG_DONTWAIT) > 0 ? text.data() : "";
    }

private:
    std::string m_path;
    int m_socket = -1;
};

TEST(HangBeacon, TellsTheServiceManagerThatTheProcessIsReadyAndThatItLives) {
    const Manager manager;
    EXPECT_EQ(hang_beacon_register_watchdog_service(75), 0);
    EXPECT_EQ(manager.Receive(), "READY=1");
    EXPECT_EQ(hang_beacon_watchdog_notify(), 0);
    EXPECT_EQ(manager.Receive(), "WATCHDOG=1");
}

TEST(HangBeacon, IsContentWithoutAServiceManager) {
    unsetenv("NOTIFY_SOCKET");
    EXPECT_EQ(hang_beacon_register_watchdog_service(75), 0);
    EXPECT_EQ(hang_beacon_watchdog_notify(), 0);
}

TEST(HangBeacon, SaysSoWhenTheServiceManagerCannotBeReached) {
    setenv("NOTIFY_SOCKET", "/nowhere/at/all", 1);
    EXPECT_LT(hang_beacon_watchdog_notify(), 0);
    unsetenv("NOTIFY_SOCKET");
}

TEST(ProcStat, MakesTheProcessOneThatGoesLastOrSaysWhyNot) {
    const int result = proc_stat_set_vip_process();
    int score = 0;
    std::ifstream("/proc/self/oom_score_adj") >> score;
    if (result == 0) {
        EXPECT_EQ(score, -900);
    } else {
        EXPECT_TRUE(result == -EACCES || result == -EPERM) << result;
        EXPECT_NE(score, -900);
    }
}

} // namespace

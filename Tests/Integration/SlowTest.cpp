// SPDX-License-Identifier: Apache-2.0
#include "DaemonTest.h"

#include <array>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

class Slow : public DaemonTest {};

TEST_F(Slow, NotifiesTheServiceManagersWatchdogEveryTenSecondsForAsLongAsItLives) {
    const std::string path = bus.Folder() + "/notify";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    daemon.SetEnvironment("NOTIFY_SOCKET", path);
    daemon.Start();
    auto last = std::chrono::steady_clock::now();
    for (const char* expected : {"READY=1", "WATCHDOG=1", "WATCHDOG=1"}) {
        pollfd ready{socket, POLLIN, 0};
        ASSERT_EQ(poll(&ready, 1, 30000), 1) << expected;
        std::array<char, 64> text{};
        ASSERT_GT(recv(socket, text.data(), text.size() - 1, 0), 0);
        EXPECT_STREQ(text.data(), expected);
        const auto now = std::chrono::steady_clock::now();
        if (std::string(expected) == "WATCHDOG=1") {
            EXPECT_GT(now - last, std::chrono::seconds(9));
        }
        last = now;
    }
    close(socket);
}

TEST_F(Slow, GoesOnWithTheNextServiceWhenOneHangsInItsStart) {
    daemon.AddService("hanging", {.library = "libhanging_start.so", .priority = 9});
    daemon.AddService("probe", {.library = "libprobe.so"});
    daemon.Start();
    ASSERT_TRUE(daemon.WaitForLog("> started probe"));
    const std::string log = daemon.Log();
    const std::size_t timeout = log.find("> Timeout 10 seconds occured!");
    EXPECT_NE(timeout, std::string::npos);
    EXPECT_LT(timeout, log.find("> service['hanging'] failed to start"));
    EXPECT_LT(log.find("> service['hanging'] failed to start"),
              log.find("> failed to start hanging service"));
    EXPECT_LT(log.find("> failed to start hanging service"), log.find("> started probe"));
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "hanging", "").payload, DELIVERY_FAILED);
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_EQ(CountOf(daemon.Output(), "hanging_START"), 0);
}

} // namespace

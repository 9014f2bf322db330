// SPDX-License-Identifier: Apache-2.0

// The shipped bus policy, on a real bus, with root and another user.

#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Daemon.h"
#include "DaemonTest.h"
#include "PrivateBus.h"
#include "RawClient.h"

namespace {

constexpr const char* ACCESS_DENIED = "org.freedesktop.DBus.Error.AccessDenied";
constexpr const char* LIST = R"({"org.norvane.services.debugshell.command.tag":"service-command",)"
                             R"("function":"list-services"})";
constexpr unsigned NOBODY = 65534;

enum Outcome { TRUE, FALSE, NO_OTHER_USER, EXCEPTION };

// What `question` comes to in a process of another user.
Outcome AskAsAnotherUser(const std::function<bool()>& question) {
    const pid_t pid = fork();
    if (pid == 0) {
        if (setgroups(0, nullptr) != 0 || setresgid(NOBODY, NOBODY, NOBODY) != 0 ||
            setresuid(NOBODY, NOBODY, NOBODY) != 0) {
            _exit(NO_OTHER_USER);
        }
        try {
            _exit(question() ? TRUE : FALSE);
        } catch (const std::exception& exception) {
            std::cerr << exception.what() << '\n';
            _exit(EXCEPTION);
        }
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? static_cast<Outcome>(WEXITSTATUS(status)) : EXCEPTION;
}

class Policy : public testing::Test {
protected:
    void SetUp() override {
        if (getuid() != 0) {
            GTEST_SKIP() << "only root can be two users";
        }
        if (AskAsAnotherUser([] { return true; }) == NO_OTHER_USER) {
            GTEST_SKIP() << "this root may not become another user";
        }
        daemon.AddService("probe", {.library = "libprobe.so"});
        daemon.Start();
        ASSERT_TRUE(WaitForStart(daemon)) << daemon.Log();
    }

    PrivateBus bus{{.policyFile = HEARTHD_BUS_POLICY, .limits = {}}};
    Daemon daemon;
};

TEST_F(Policy, KeepsTheDebugShellForRoot) {
    RawClient root;
    EXPECT_EQ(root.Call(DEBUG_SHELL, "", LIST).payload, R"({"return":"probe\n"})");
    EXPECT_EQ(AskAsAnotherUser([] {
                  RawClient other;
                  return other.Call(DEBUG_SHELL, "", LIST).error == ACCESS_DENIED;
              }),
              TRUE);
    root.Call(DEBUG_SHELL, "", LIST);
    ASSERT_TRUE(daemon.WaitForLog("> Handle message", 2));
    EXPECT_EQ(CountOf(daemon.Log(), "> Handle message"), 2) << "root's alone have come in";
}

TEST_F(Policy, LetsEveryUserCallServicesAndHearNotifications) {
    EXPECT_EQ(AskAsAnotherUser([] {
                  RawClient other;
                  other.RequestName("marrow.ser.client.PID_" + std::to_string(getpid()));
                  other.Match("type='signal',interface='quill.Endpoint1'");
                  const std::string payload = R"({"do":"notify","subject":"news"})";
                  return other.Call(ROUTER, "probe", payload).payload == payload &&
                         other.Next().has_value();
              }),
              TRUE);
    EXPECT_EQ(AskAsAnotherUser([] {
                  RawClient other;
                  other.SendSignal(ROUTER_SIGNAL, {ROUTER_SIGNAL, "probe", "{}"});
                  return true;
              }),
              TRUE);
    EXPECT_TRUE(daemon.WaitForLog(std::string("> Signal ") + ROUTER_SIGNAL + " sent to router"));
}

TEST_F(Policy, LetsNoOtherUserTakeTheDaemonsNames) {
    for (const char* name : {ROUTER, DEBUG_SHELL}) {
        EXPECT_EQ(AskAsAnotherUser([name] {
                      RawClient other;
                      try {
                          other.RequestName(name);
                      } catch (const std::exception&) {
                          return true;
                      }
                      return false;
                  }),
                  TRUE)
            << name;
    }
}

} // namespace

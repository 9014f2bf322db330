// SPDX-License-Identifier: Apache-2.0
#include "DaemonTest.h"

#include <csignal>
#include <filesystem>
#include <sys/wait.h>

#include "WaitUntil.h"

namespace {

class Fault : public DaemonTest {
protected:
    Fault() {
        daemon.AddService("probe", {.library = "libprobe.so"});
        daemon.AddService("probe2", {.library = "libprobe2.so"});
    }
};

TEST_F(Fault, OfAServiceThatLetsAnExceptionOutEndsTheDaemon) {
    StartAndWait();
    RawClient client;
    client.Send(ROUTER, "probe", R"({"do":"throw"})");
    const std::optional<int> status = daemon.WaitForEnd();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, SIGABRT);
    EXPECT_NE(daemon.Log().find("> Calling [probe] API"), std::string::npos)
        << "what was logged before is not lost";
}

TEST_F(Fault, OfALibraryWithoutItsVariablesEndsTheDaemon) {
    daemon.AddService("no_proxy", {.library = "libno_proxy.so"});
    daemon.Start();
    const std::optional<int> status = daemon.WaitForEnd();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(*status == SIGSEGV || *status == SIGABRT) << *status << " (a sanitizer aborts)";
}

TEST_F(Fault, OfAClientThatDiesInItsCallChangesNothingForTheOthers) {
    StartAndWait();
    const pid_t dying = fork();
    if (dying == 0) {
        RawClient client;
        client.Send(ROUTER, "probe", R"({"do":"sleep","ms":300})");
        raise(SIGKILL);
    }
    waitpid(dying, nullptr, 0);
    RawClient other;
    EXPECT_EQ(other.Call(ROUTER, "probe2", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_EQ(other.Call(ROUTER, "probe", R"({"a":2})").payload, R"({"a":2})");
    // What the dead one's call has left is gone by now.
    other.Call(ROUTER, "probe", R"({"a":3})");
    EXPECT_TRUE(daemon.WaitForLog("> 0 pending messages", 2));
}

TEST_F(Fault, OfTheBusEndsWithItsReturn) {
    StartAndWait();
    {
        RawClient client;
        client.Send(ROUTER, "probe", R"({"do":"sleep","ms":300})");
        ASSERT_TRUE(daemon.WaitForLog("> Calling [probe] API"));
        bus.Kill();
    }
    ASSERT_TRUE(daemon.WaitForLog(std::string("endpoint ") + ROUTER + " has lost the bus"));
    bus.Start();
    ASSERT_TRUE(daemon.WaitForLog(std::string("endpoint ") + ROUTER + " is on the bus again"));
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    client.Call(ROUTER, "probe", R"({"a":2})");
    EXPECT_TRUE(daemon.WaitForLog("> 0 pending messages", 2))
        << "the interrupted call has left no entry";
    RawClient listener;
    listener.Match("type='signal',interface='quill.Endpoint1'");
    client.Call(ROUTER, "probe", R"({"do":"notify","subject":"news"})");
    EXPECT_TRUE(listener.Next().has_value());
    // The debug shell comes back by itself too.
    EXPECT_TRUE(daemon.WaitForLog("endpoint debugshell_C is on the bus again"));
}

TEST_F(Fault, OfAReplyThatIsTooLargeIsTheCallersAlone) {
    StartAndWait();
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"do":"large","size":40000000})").error,
              "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
}

} // namespace

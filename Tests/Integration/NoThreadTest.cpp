// SPDX-License-Identifier: Apache-2.0

// The system refuses a thread, at each place where the daemon makes one.

#include "KeeperTest.h"

#include <csignal>
#include <optional>

#include "ThreadRefusals.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

namespace {

constexpr const char* REFUSED = "Resource temporarily unavailable";
constexpr const char* INIT_LINE = "PERFORMANCE MONITOR - tag: INIT ";

class NoThread : public KeeperTest {
protected:
    NoThread() {
        daemon.AddService("probe", {.library = "libprobe.so", .launchType = 1});
        daemon.AddService("keeper", {.library = "libkeeper.so", .launchType = 1});
        daemon.Preload(HEARTHD_THREAD_REFUSALS);
        daemon.SetEnvironment("HEARTHD_THREAD_REFUSALS", refusals.Path());
    }

    // A function of the debug shell that isn't answered.
    void Send(const std::string& function, const std::string& service) {
        client.Send(DEBUG_SHELL, "", ShellRequest(function, service));
    }

    void ExpectProbeToStart() {
        EXPECT_EQ(Shell("status-start", "probe"), STARTED);
        EXPECT_EQ(Call("probe", PAYLOAD), PAYLOAD);
    }

    const ThreadRefusals refusals;
};

// In the order in which they are made.
struct FirstThread {
    const char* name;
    const char* logged;
};

constexpr FirstThread FIRST_THREADS[] = {
    {"LogFlusher", "the log has no thread to collect lines with: "},
    {"Cleaner", "task WFCleaner_tceventio: cannot start a thread: "},
    {"Watchdog", "task APIWatchdog_tceventio: cannot start a thread: "},
    {"RouterDispatcher", "endpoint marrow.ser.server.MessageRouter: cannot start a thread: "},
    {"Autostart", "task Init_tceventio: cannot start a thread: "},
    {"PipeReader", "task Reader_tceventio: cannot start a thread: "},
    {"ShellDispatcher", "endpoint debugshell_C: cannot start a thread: "},
};

class NoThreadAtTheStart : public NoThread, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(ForThe, NoThreadAtTheStart,
                         testing::Range(0, static_cast<int>(std::size(FIRST_THREADS))),
                         [](const testing::TestParamInfo<int>& parameter) {
                             return FIRST_THREADS[parameter.param].name;
                         });

TEST_P(NoThreadAtTheStart, IsToldAndServicesCanBeStartedAndCalled) {
    refusals.Refuse(GetParam());
    daemon.Start();
    EXPECT_TRUE(daemon.WaitForLog(std::string(FIRST_THREADS[GetParam()].logged) + REFUSED));
    ASSERT_TRUE(daemon.WaitForOutput(INIT_LINE));
    ASSERT_TRUE(WaitUntil([this] { return client.NameHasOwner(DEBUG_SHELL); }));
    ASSERT_TRUE(daemon.WaitForLog(SHELL_LISTENS));
    ExpectProbeToStart();
    EXPECT_TRUE(daemon.WaitForLog("> Calling [probe] API"));
    EXPECT_EQ(Shell("status-unload", "probe"), UNLOADED);
    ExpectProbeToStart();
}

// Each line is written at once then, and both outputs into one file show an order.
TEST_F(NoThread, ForTheLogShowsThatTheStartIsTimedAheadOfTheDebugShell) {
    daemon.SetLauncher({"sh", "-c", R"(exec "$@" >&2)", "sh"});
    refusals.Refuse(0);
    StartAndWait();
    const std::string log = daemon.Log();
    EXPECT_LT(log.find("> autostart done"), log.find(INIT_LINE));
    EXPECT_LT(log.find(INIT_LINE), log.find("> Creating command objects"));
}

TEST_F(NoThread, ForChangesOfTheConfigurationIsToldAndTheyComeWhenTheServiceStartsAgain) {
    StartAndWait();
    ASSERT_EQ(Shell("status-load", "keeper"), "State successfully changed to loaded\n");
    refusals.Refuse(0);
    EXPECT_EQ(Shell("status-start", "keeper"), STARTED_FROM_LOADED);
    EXPECT_TRUE(daemon.WaitForLog(std::string("vconf_notify_key_changed: ") + REFUSED));
    EXPECT_EQ(Set(1), Kept(1));
    EXPECT_EQ(Shell("status-unload", "keeper"), UNLOADED);
    EXPECT_EQ(Shell("status-start", "keeper"), STARTED);
    ExpectChangesToBeHeard(10);
}

// A proxy of the television doesn't ask whether the platform has made its subscriber.
TEST_F(NoThread, ForTheTelevisionIsToldAndEndsTheDaemon) {
    daemon.AddService("epg", {.library = std::string(EXAMPLES) + "libepg.so", .launchType = 1});
    StartAndWait();
    ASSERT_EQ(Shell("status-load", "epg"), "State successfully changed to loaded\n");
    refusals.Refuse(0);
    Send("status-start", "epg");
    const std::optional<int> status = daemon.WaitForEnd();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(*status == SIGSEGV || *status == SIGABRT) << *status << " (a sanitizer aborts)";
    EXPECT_TRUE(
        daemon.WaitForLog(std::string("the thread of the stream cannot be started: ") + REFUSED));
}

class NoKeyThread : public NoThread {
protected:
    NoKeyThread() {
        daemon.AddService("keys", {.library = "libkeys.so", .launchType = 1});
        StartAndWait();
        EXPECT_EQ(Shell("status-load", "keys"), "State successfully changed to loaded\n");
    }

    VirtualDisplay display;
};

// The first key that is grabbed goes without; with the next one the library tries again.
TEST_F(NoKeyThread, ForGrabbedKeysIsToldAndTheKeysBehindItWork) {
    refusals.Refuse(0);
    EXPECT_EQ(Shell("status-start", "keys"), STARTED_FROM_LOADED);
    EXPECT_TRUE(daemon.WaitForLog(REFUSED));
    // A key that is pressed before the proxy's thread looks for the first time is nobody's.
    std::optional<RawClient::Signal> signal;
    EXPECT_TRUE(WaitUntil([&] {
        display.Tap("XF86AudioRaiseVolume");
        signal = listener.Next(std::chrono::seconds(1));
        return signal.has_value();
    }));
    EXPECT_EQ(signal->arguments.at(2), R"({"name":"XF86AudioRaiseVolume"})");
}

// Nothing that hosted code sees could tell it that no key will come.
TEST_F(NoKeyThread, ForTheKeyProxyEndsTheDaemon) {
    refusals.Refuse(1);
    Send("status-start", "keys");
    EXPECT_EQ(daemon.WaitForEnd(), SIGABRT);
    EXPECT_TRUE(daemon.WaitForLog(REFUSED));
}

} // namespace

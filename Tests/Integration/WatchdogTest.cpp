// SPDX-License-Identifier: Apache-2.0

// A caller dies in the middle of its call, and every thread of the installed daemon tells where it
// stands: real client processes, crash files as the platform names them, and the real device.

#include "DaemonTest.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>
#include <thread>

#include "Beacon.h"
#include "DeathTest.h"
#include "Program.h"
#include "WaitUntil.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr const char* HEARTHCTL = HEARTHD_STAGE "/usr/bin/hearthctl";
constexpr const char* CRASHED = "> API caller crashed";

class Watchdog : public DaemonTest {
protected:
    Watchdog() {
        daemon.AddServices(
            {{"probe", {.library = "libprobe.so"}}, {"probe2", {.library = "libprobe2.so"}}});
    }

    void LeaveCrashFile(const std::string& pid, int number = 1) const {
        std::ofstream(fs::path(daemon.CrashFolder()) /
                      ("17322" + std::to_string(number) + ".client.x86_64." + pid + ".coredump"));
    }

    // Has the client of process 4711 call the service, and waits until the call is in delivery.
    void CallAndStayPending(const std::string& service, const std::string& payload) {
        pending.RequestName("marrow.ser.client.PID_4711");
        pending.Send(ROUTER, service, payload);
        ASSERT_TRUE(daemon.WaitForLog("> Calling [" + service + "] API"));
    }

    // Starts the daemon with the folder of crash files there and watched.
    void StartWatching() {
        fs::create_directories(daemon.CrashFolder());
        StartAndWait();
        ASSERT_TRUE(daemon.WaitForLog("> Watchdog started"));
    }

    RawClient pending;
};

enum class Device { FILE_SYSTEM, SYSTEM_CALL_FILTER };

// With the device, in each of the two ways in which it can be there.
class WatchdogDevice : public Watchdog, public testing::WithParamInterface<Device> {
protected:
    void SetUp() override {
        if (GetParam() == Device::FILE_SYSTEM) {
            beacon = std::make_unique<Beacon>(daemon.Device(), dumps);
            if (const std::string trouble = beacon->Trouble(); !trouble.empty()) {
                GTEST_SKIP() << "no file system can serve the device here: " << trouble;
            }
            std::cout << "the device is hang-beacon's file system\n";
        } else {
            const std::vector<std::string> launcher = Beacon::Launcher(daemon.Device(), dumps);
            std::vector<std::string> trial = launcher;
            trial.emplace_back("true");
            Program program(trial);
            if (program.Wait() != 0) {
                GTEST_SKIP() << program.Errors();
            }
            daemon.SetLauncher(launcher);
            std::cout << "the device is a file whose ioctl a system call filter answers\n";
        }
    }

    const std::string dumps = bus.Folder() + "/dumps";
    std::unique_ptr<Beacon> beacon;
};

INSTANTIATE_TEST_SUITE_P(Served, WatchdogDevice,
                         testing::Values(Device::FILE_SYSTEM, Device::SYSTEM_CALL_FILTER),
                         [](const testing::TestParamInfo<Device>& parameter) {
                             return parameter.param == Device::FILE_SYSTEM ? "ByAFileSystem"
                                                                           : "ByAFilter";
                         });

// The lines of the thread of that name in a dump.
std::vector<std::string> LinesOf(const std::string& dump, const std::string& thread) {
    std::istringstream stream(dump);
    std::vector<std::string> lines;
    std::string line;
    bool inside = false;
    while (std::getline(stream, line)) {
        if (line.starts_with("thread ")) {
            inside = line.ends_with(" " + thread);
        } else if (inside) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::size_t IndexOf(const std::vector<std::string>& lines, const std::string& part) {
    std::size_t i = 0;
    while (i < lines.size() && lines[i].find(part) == std::string::npos) {
        ++i;
    }
    return i;
}

TEST_P(WatchdogDevice, GetsTheStackOfEveryThreadWhileTheCallOfADeadClientIsStillRunning) {
    StartWatching();
    Program client({HEARTHCTL, "call", "probe", R"({"do":"hang","ms":4000})"});
    ASSERT_TRUE(daemon.WaitForLog("> Calling [probe] API"));
    client.Signal(SIGKILL);
    client.Wait();
    LeaveCrashFile(std::to_string(client.Pid()));
    ASSERT_TRUE(daemon.WaitForLog(CRASHED));
    const std::string dump = Beacon::WaitForDumpIn(dumps);
    EXPECT_EQ(CountOf(daemon.Output(), "probe_CALL_API"), 0) << "the call has ended already";

    EXPECT_THAT(dump, HasSubstr("process " + std::to_string(daemon.Pid()) + " hearthd\n"));
    std::vector<std::string> threads{"hearthd", "probe2_thread", "quill-dispatch"};
    if (!UNDER_THREAD_SANITIZER) { // which holds back the signal of a thread that waits in open
        threads.emplace_back("Reader_thread");
    }
    for (const std::string& thread : threads) {
        EXPECT_FALSE(LinesOf(dump, thread).empty()) << thread << "\n" << dump;
    }
    EXPECT_EQ(CountOf(dump, "APIWatchdog_thr"), 0) << "the thread that asks is left out";

    const std::vector<std::string> lines = LinesOf(dump, "probe_thread");
    const std::size_t hang = IndexOf(lines, ": (HangHereForTheTest+0x");
    const std::size_t call = IndexOf(lines, "ServiceControl7CallAPI");
    const std::size_t route = IndexOf(lines, "MessageRouter5Route");
    EXPECT_GT(hang, 0U) << "it waits inside";
    EXPECT_LT(hang, call) << dump;
    EXPECT_LT(call, route);
    EXPECT_LT(route, lines.size());
    // The call is left alone, and ends as ever.
    EXPECT_TRUE(daemon.WaitForOutput("probe_CALL_API"));
    RawClient other;
    EXPECT_EQ(other.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_TRUE(daemon.WaitForLog("> 0 pending messages"));
}

TEST_F(Watchdog, DumpsNothingForAProcessThatHasNoCallHere) {
    StartWatching();
    ASSERT_NO_FATAL_FAILURE(CallAndStayPending("probe", R"({"do":"sleep","ms":4000})"));
    LeaveCrashFile("4712");
    ASSERT_TRUE(daemon.WaitForLog("> Watchdog callback executed for 4712"));
    ASSERT_TRUE(daemon.WaitForLog("> Pending messge: from marrow.ser.client.PID_4711 to probe"));
    EXPECT_EQ(CountOf(daemon.Log(), CRASHED), 0);
}

TEST_F(Watchdog, FindsAFolderOfCrashFilesThatComesLater) {
    StartAndWait();
    // One level after the other: what comes between the look for it and the watch above it is seen
    // at the next creation only.
    std::string path;
    for (const char* level : {"", "/share", "/crash", "/core", "/mincore"}) {
        path += level;
        fs::create_directory(daemon.OptUsr() + path);
        ASSERT_TRUE(daemon.WaitForLog("> Monitoring /opt/usr" + path + ".\n"));
    }
    LeaveCrashFile("4711");
    EXPECT_TRUE(daemon.WaitForLog("> Watchdog callback executed for 4711"));
}

TEST_P(WatchdogDevice, IsShownByHearthctlWithNamesThatPeopleRead) {
    StartWatching();
    ASSERT_NO_FATAL_FAILURE(CallAndStayPending("probe", R"({"do":"hang","ms":4000})"));
    LeaveCrashFile("4711");
    ASSERT_NE(Beacon::WaitForDumpIn(dumps), "");
    Program stacks({HEARTHCTL, "stacks", "--folder", dumps});
    EXPECT_EQ(stacks.Wait(), 0);
    const std::string text = stacks.Output();
    EXPECT_THAT(text.substr(0, text.find('\n')),
                testing::MatchesRegex("hearthd \\(process " + std::to_string(daemon.Pid()) +
                                      "\\) at [-0-9T:.]+Z"));
    EXPECT_THAT(text, HasSubstr("\n  probe_thread (thread "));
    EXPECT_THAT(text, HasSubstr(" HangHereForTheTest+0x"));
    EXPECT_THAT(text, HasSubstr(" ServiceControl::CallAPI(Quill::TCMessage const&)+0x"));
    Program json({HEARTHCTL, "stacks", "--json", "--last", "5", "--folder", dumps});
    EXPECT_EQ(json.Wait(), 0);
    EXPECT_THAT(json.Output(), HasSubstr("\"name\":\"probe_thread\""));
    Program nowhere({HEARTHCTL, "stacks", "--folder", "/nowhere"});
    EXPECT_EQ(nowhere.Wait(), 1);
    EXPECT_THAT(nowhere.Errors(), HasSubstr("cannot read the dumps in /nowhere"));
}

// A hand-over waits once, and a signal ends that wait as any wake-up without a cause would.
TEST_F(Watchdog, EndsTheWaitForAStartThatIsUnderWay) {
    daemon.AddServices({{"hanging", {.library = "libhanging_start.so", .launchType = 1}}});
    StartWatching();
    ASSERT_NO_FATAL_FAILURE(CallAndStayPending("probe", R"({"do":"sleep","ms":8000})"));
    Program start({HEARTHCTL, "start", "hanging"});
    ASSERT_TRUE(daemon.WaitForLog("> Starting service['slow_start']"));
    LeaveCrashFile("4711");
    EXPECT_EQ(start.Wait(), 1);
    EXPECT_EQ(start.Output(), "State successfully changed to loaded\n"
                              "Failed to change status. Current service status is loaded\n");
    EXPECT_EQ(CountOf(daemon.Log(), CRASHED), 1);
    EXPECT_EQ(CountOf(daemon.Log(), "> Timeout 10 seconds occured!"), 0) << "it was no time-out";
}

// 200 crash files in a burst while 8 clients call 4 services.
TEST_F(Watchdog, KeepsAnsweringWhileOneDumpChasesTheOther) {
    constexpr int CRASHES = 200;
    constexpr int CLIENTS = 8;
    constexpr int CALLS = 100;
    daemon.AddServices(
        {{"third", {.library = "libprobe3.so"}}, {"fourth", {.library = "libprobe4.so"}}});
    StartWatching();
    const std::vector<std::string> services{"probe", "probe2", "third", "fourth"};
    ASSERT_NO_FATAL_FAILURE(CallAndStayPending("fourth", R"({"do":"sleep","ms":6000})"));

    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < CLIENTS; ++i) {
        clients.emplace_back([&, i] {
            RawClient own;
            for (int n = 0; n < CALLS; ++n) {
                const std::string payload = R"({"n":)" + std::to_string(i * CALLS + n) + "}";
                const auto& service = services[static_cast<std::size_t>(i + n) % 3];
                answered += own.Call(ROUTER, service, payload).payload == payload ? 1 : 0;
            }
        });
    }
    for (int i = 0; i < CRASHES; ++i) {
        LeaveCrashFile("4711", i);
    }
    EXPECT_TRUE(daemon.WaitForLog("> Watchdog callback executed for 4711", CRASHES));
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(answered, CLIENTS * CALLS);
    EXPECT_TRUE(daemon.WaitForLog("> Threads dumps", CRASHES)) << "each during the call";
    const std::string log = daemon.Log();
    EXPECT_EQ(CountOf(log, "> Threads dumps"), CRASHES);
    EXPECT_EQ(CountOf(log, CRASHED), CRASHES);
    EXPECT_EQ(pending.Call(ROUTER, "fourth", R"({"a":1})").payload, R"({"a":1})");
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "DaemonTest.h"

#include <atomic>
#include <csignal>
#include <fstream>
#include <string_view>
#include <thread>

#include "Gate.h"
#include "NotifySocket.h"
#include "WaitUntil.h"

namespace {

constexpr const char* INIT_LINE = "PERFORMANCE MONITOR - tag: INIT execution_time: ";
constexpr const char* PLATFORM_LINE = "platform: ";
constexpr const char* WATCHED = "platform: watched with 75\n";
constexpr const char* EVERY_TEN_SECONDS = "main loop: every 10000 ms\n";

class Start : public DaemonTest {
protected:
    // The daemon in the middle of its manifests, one of which has no content yet.
    void StartAndHold() {
        pipe = daemon.AddManifestPipe("held.json");
        daemon.Start();
        ASSERT_TRUE(daemon.WaitForLog("/held.json"));
    }
    void LetGo() const { std::ofstream(pipe) << "{}"; }

    std::string pipe;
};

TEST_F(Start, ReachesItsMainLoopWithoutAManifestFolder) {
    daemon.RemoveManifestFolder();
    StartAndWait();
    EXPECT_TRUE(daemon.WaitForLog("> error while opening manifest dir..."));
    EXPECT_EQ(CountOf(daemon.Log(), "> configurations loaded"), 0);
    EXPECT_TRUE(daemon.WaitForOutput(INIT_LINE));
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "any", "").payload, DELIVERY_FAILED);
    EXPECT_TRUE(daemon.IsRunning());
}

TEST_F(Start, ReachesItsMainLoopWithAnEmptyManifestFolder) {
    StartAndWait();
    EXPECT_TRUE(daemon.WaitForLog("> configurations loaded"));
    EXPECT_EQ(CountOf(daemon.Log(), " E HEARTHD"), 0);
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "any", "").payload, DELIVERY_FAILED);
}

TEST_F(Start, TakesNoNoticeOfArguments) {
    daemon.AddService("probe", {.library = "libprobe.so"});
    daemon.Start({"--help", "--version", "nonsense"});
    ASSERT_TRUE(daemon.WaitForLog("> started probe"));
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
}

// The router is on the bus before there is a manager of services.
TEST_F(Start, HasOneManagerWhoeverCallsAsSoonAsTheNameIsThere) {
    for (int i = 0; i < 30; ++i) {
        daemon.AddService("probe" + std::to_string(i), {.library = "/nowhere/lib.so"});
    }
    daemon.AddService("probe", {.library = "libprobe.so", .priority = 255});
    for (int round = 1; round <= 10; ++round) {
        std::atomic<bool> isAnswered = false;
        std::thread impatient([&isAnswered] {
            RawClient client;
            while (!isAnswered) {
                isAnswered = client.Call(ROUTER, "probe", R"({"a":1})").payload == R"({"a":1})";
            }
        });
        daemon.Start();
        EXPECT_TRUE(WaitUntil([&] { return isAnswered || !daemon.IsRunning(); }));
        EXPECT_TRUE(daemon.IsRunning());
        EXPECT_TRUE(daemon.WaitForLog(AUTOSTART_DONE, round));
        isAnswered = true;
        impatient.join();
        EXPECT_EQ(CountOf(daemon.Log(), "> sorting services"), round);
        daemon.Kill();
    }
}

TEST_F(Start, DoesntWaitForAServiceThatStartsSlowly) {
    daemon.AddService("slow_start", {.library = "libslow_start.so"});
    daemon.Start();
    ASSERT_TRUE(daemon.WaitForOutput(INIT_LINE));
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "nobody", "").payload, DELIVERY_FAILED);
    EXPECT_EQ(CountOf(daemon.Log(), "> started slow_start"), 0);
    EXPECT_TRUE(daemon.WaitForLog("> started slow_start"));
    EXPECT_TRUE(daemon.WaitForOutput("tag: slow_start_START execution_time: 2"));
}

TEST_F(Start, GoesByPriorityAloneWhateverFilesNamesAndDependenciesSay) {
    daemon.AddService("a", {.library = "libprobe.so", .priority = 10});
    daemon.AddService(
        "b",
        {.library = "libprobe2.so", .priority = 200, .more = R"(,"dependencies":["c","nobody"])"});
    daemon.AddService("c", {.library = "/nowhere/lib.so", .priority = 30});
    StartAndWait();
    const std::string log = daemon.Log();
    const std::size_t first = log.find("> started b");
    const std::size_t second = log.find("> failed to load c service");
    const std::size_t third = log.find("> started a");
    EXPECT_LT(first, second);
    EXPECT_LT(second, third);
    EXPECT_NE(third, std::string::npos);
    EXPECT_EQ(log.find("nobody"), std::string::npos);
}

TEST_F(Start, SkipsAManifestThatDoesntParseAndReadsTheOthers) {
    daemon.AddManifest("broken.json", "{ this is no JSON");
    daemon.AddManifest("empty.json", "");
    daemon.AddService("probe", {.library = "libprobe.so"});
    StartAndWait();
    const std::string log = daemon.Log();
    EXPECT_EQ(CountOf(log, "> configuration loading failed! Check file and syntax"), 2);
    EXPECT_EQ(CountOf(log, "> configuration loaded\n"), 3);
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
}

TEST_F(Start, LeavesAServiceWithAWrongPathNotLoadedAndStartsTheRest) {
    daemon.SetEnvironment("DLOG_LEVEL", "debug");
    daemon.AddService("wrong", {.library = "/nowhere/lib.so", .priority = 9});
    daemon.AddService("probe", {.library = "libprobe.so"});
    StartAndWait();
    const std::string log = daemon.Log();
    EXPECT_NE(log.find("> failed to load library. Error msg: /nowhere/lib.so: "),
              std::string::npos);
    EXPECT_NE(log.find("> service could not be load"), std::string::npos);
    EXPECT_NE(log.find("> service['wrong'] failed to load"), std::string::npos);
    EXPECT_NE(log.find("> failed to load wrong service"), std::string::npos);
    EXPECT_NE(log.find("> started probe"), std::string::npos);
    RawClient client;
    client.Call(ROUTER, "wrong", "");
    EXPECT_TRUE(daemon.WaitForLog("> service['wrong'] state is NOT_LOADED"));
    EXPECT_EQ(CountOf(daemon.Output(), "wrong_LOAD"), 0) << "a failed stage prints nothing";
}

TEST_F(Start, LeavesAServiceWithoutAPathNotLoadedAndStartsTheRest) {
    daemon.AddManifest("bare.json", R"({"bare":{"priority":9}})");
    daemon.AddService("probe", {.library = "libprobe.so"});
    StartAndWait();
    EXPECT_TRUE(daemon.WaitForLog("> failed to load library. Error msg: no path is given"));
    EXPECT_TRUE(daemon.WaitForLog("> failed to load bare service"));
    EXPECT_TRUE(daemon.WaitForLog("> started probe"));
}

TEST_F(Start, SkipsAFolderThatIsNamedLikeAManifest) {
    daemon.AddManifestFolder("folder.json");
    daemon.AddService("probe", {.library = "libprobe.so"});
    StartAndWait();
    EXPECT_EQ(CountOf(daemon.Log(), "> configuration loading failed! Check file and syntax"), 1);
    EXPECT_TRUE(daemon.WaitForLog("> started probe"));
}

TEST_F(Start, BringsTwoDeclarationsOfOneNameToOneObject) {
    daemon.AddServices({{"a", {.library = "libprobe2.so"}}, {"probe", {.library = "libprobe.so"}}});
    daemon.AddService("probe", {.library = "libprobe.so", .priority = 9});
    StartAndWait();
    const std::string log = daemon.Log();
    EXPECT_EQ(CountOf(log, "> service already created"), 1);
    EXPECT_EQ(CountOf(log, "> started probe\n"), 2);
}

TEST_F(Start, GoesOnWhereTheServiceManagerCannotBeReached) {
    daemon.SetEnvironment("NOTIFY_SOCKET", "/nowhere/at/all");
    daemon.AddService("probe", {.library = "libprobe.so"});
    StartAndWait();
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_TRUE(daemon.IsRunning());
}

TEST_F(Start, BringsUpTheRouterThenTheManagerThenTheDebugShell) {
    StartAndWait();
    ASSERT_TRUE(daemon.WaitForLog("> Creating command objects"));
    const std::string log = daemon.Log();
    EXPECT_LT(log.find("> Watchdog Created"), log.find("> init\n"));
    EXPECT_LT(log.find("> autostart done"), log.find("> Creating command objects"));
}

TEST_F(Start, HasTheRouterAndNothingBehindTheManagerWhileItReadsTheManifests) {
    daemon.Preload(HEARTHD_PLATFORM_CALLS);
    ASSERT_NO_FATAL_FAILURE(StartAndHold());
    RawClient client;
    EXPECT_TRUE(client.NameHasOwner(ROUTER));
    EXPECT_FALSE(client.NameHasOwner(DEBUG_SHELL));
    EXPECT_EQ(CountOf(daemon.Log(), PLATFORM_LINE), 0);
    EXPECT_EQ(CountOf(daemon.Log(), EVERY_TEN_SECONDS), 0);
    LetGo();
    EXPECT_TRUE(daemon.WaitForLog(EVERY_TEN_SECONDS));
    EXPECT_TRUE(client.NameHasOwner(DEBUG_SHELL));
}

TEST_F(Start, TimesTheReadingOfTheManifests) {
    ASSERT_NO_FATAL_FAILURE(StartAndHold());
    Gate().Wait(std::chrono::seconds(1)); // nobody opens it
    EXPECT_EQ(CountOf(daemon.Output(), INIT_LINE), 0);
    LetGo();
    ASSERT_TRUE(daemon.WaitForOutput(" ms\n"));
    const std::string output = daemon.Output();
    const std::size_t line = output.find(INIT_LINE);
    ASSERT_NE(line, std::string::npos);
    EXPECT_GE(std::stoi(output.substr(line + std::string_view(INIT_LINE).size())), 1000);
}

TEST_F(Start, EndsWithAManifestValueThatDoesntConvert) {
    daemon.AddManifest("wrong.json", R"({"a":{"lib_path":"x","priority":"high"}})");
    daemon.Start();
    const std::optional<int> status = daemon.WaitForEnd();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, SIGABRT);
}

TEST_F(Start, IsEndedByASignalWithoutAStopOfItsServices) {
    daemon.AddService("probe", {.library = "libprobe.so"});
    StartAndWait();
    ASSERT_TRUE(daemon.WaitForLog("> started probe"));
    kill(daemon.Pid(), SIGTERM);
    EXPECT_EQ(daemon.WaitForEnd(), SIGTERM);
    EXPECT_EQ(CountOf(daemon.Log(), "> Stopping service"), 0);
}

TEST_F(Start, AsksThePlatformOnceAndTakesNoNoticeOfItsAnswers) {
    daemon.Preload(HEARTHD_PLATFORM_CALLS);
    daemon.AddService("probe", {.library = "libprobe.so"});
    daemon.Start();
    ASSERT_TRUE(daemon.WaitForLog(EVERY_TEN_SECONDS));
    ASSERT_TRUE(daemon.WaitForLog("> started probe"));
    RawClient client;
    EXPECT_EQ(client.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    const std::string log = daemon.Log();
    EXPECT_EQ(CountOf(log, PLATFORM_LINE), 2);
    EXPECT_LT(log.find("platform: must live\n"), log.find(WATCHED));
    EXPECT_LT(log.find(WATCHED), log.find(EVERY_TEN_SECONDS));
}

TEST_F(Start, TellsTheServiceManagerThatItIsReady) {
    const NotifySocket manager;
    daemon.SetEnvironment("NOTIFY_SOCKET", manager.Path());
    daemon.Start();
    EXPECT_EQ(manager.Receive(), "READY=1");
    RawClient client;
    EXPECT_TRUE(client.NameHasOwner(ROUTER));
    EXPECT_TRUE(client.NameHasOwner(DEBUG_SHELL));
}

TEST_F(Start, AsksToLiveWhenMemoryRunsOut) {
    daemon.Start();
    const std::string file = "/proc/" + std::to_string(daemon.Pid()) + "/oom_score_adj";
    EXPECT_TRUE(WaitUntil([&] {
        std::string score;
        std::ifstream(file) >> score;
        const std::string refusal = "cannot write -900 to /proc/self/oom_score_adj";
        return score == "-900" || daemon.Log().find(refusal) != std::string::npos;
    }));
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// hearthctl plot, blame and top: with the log of a real daemon, and with made ones where there is
// neither a bus nor a daemon.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <json/json.h>
#include <numeric>
#include <sstream>

#include "DaemonTest.h"
#include "ReadFile.h"
#include "RunHearthctl.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* REDRAWN = "\x1b[H\x1b[2J";

std::string Timing(const std::string& tag, const std::string& time) {
    return "PERFORMANCE MONITOR - tag: " + tag + " execution_time: " + time + "\n";
}

std::vector<Json::Value> JsonLines(const std::string& text) {
    std::vector<Json::Value> values;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && !lines.eof();) { // the last isn't whole
        std::istringstream(line) >> values.emplace_back();
    }
    return values;
}

// How many calls of a service top has shown so far.
int CallsOf(const std::string& service, const std::string& shown) {
    int calls = 0;
    for (const Json::Value& interval : JsonLines(shown)) {
        for (const Json::Value& one : interval["services"]) {
            calls += one["service"] == service ? one["calls"].asInt() : 0;
        }
    }
    return calls;
}

bool WaitForCalls(Program& top, const std::string& service, int calls) {
    return WaitUntil([&] { return CallsOf(service, top.Output()) >= calls; });
}

class LogVerbs : public testing::Test {
protected:
    LogVerbs() { setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1); }
    ~LogVerbs() override { setenv("PATH", path.c_str(), 1); }

    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(folder.Path() / name, std::ios::app) << text << std::flush;
        return folder.Path() / name;
    }

    // A tool that stands in for the journal's, in its lines' own form; it keeps what it is asked.
    void PutJournalctl(const std::string& commands) const {
        const std::string tool =
            Write("journalctl", "#!/bin/sh\necho \"$*\" >" + (folder.Path() / "asked").string() +
                                    "\n" + commands + "\n");
        std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
        setenv("PATH", (folder.Path().string() + ":" + path).c_str(), 1);
    }

    const TemporaryFolder folder;
    const std::string path = std::getenv("PATH");
};

TEST_F(LogVerbs, BlameSortsByWhatLoadAndStartHaveTakenTogether) {
    const std::string log = Timing("INIT", "2 ms") + Timing("quick_LOAD", "300 us") +
                            Timing("quick_START", "80 us") + Timing("slow_LOAD", "830 us") +
                            Timing("slow_START", "12 ms") + Timing("hangs_LOAD", "5 us");
    const Result table = Hearthctl({"blame", Write("log", log)});
    EXPECT_EQ(table.status, 0);
    EXPECT_EQ(table.output, "     LOAD      START        SUM   SERVICE\n"
                            "     5 us          -       5 us   hangs   (start not ended)\n"
                            "   830 us      12 ms      12 ms   slow\n"
                            "   300 us      80 us     380 us   quick\n");
    const Result json = Hearthctl({"blame", "--json", "-"}, Program::At::FILES, log);
    const Json::Value services = JsonLines(json.output).at(0);
    ASSERT_EQ(services.size(), 3U);
    EXPECT_EQ(services[0]["start_us"], Json::Value());
    EXPECT_EQ(services[0]["trouble"], "start not ended");
    EXPECT_EQ(services[1]["service"], "slow");
    EXPECT_EQ(services[1]["load_us"], 830);
    EXPECT_EQ(services[1]["start_us"], 12000);
    EXPECT_EQ(services[1]["sum_us"], 12830);
    EXPECT_EQ(services[1]["trouble"], "");
}

TEST_F(LogVerbs, PlotWritesItsPictureToAFileOrToStandardOutput) {
    const std::string log = Write("log", Timing("a_LOAD", "1 us") + Timing("a_START", "2 us"));
    const Result printed = Hearthctl({"plot", log});
    EXPECT_EQ(printed.status, 0);
    EXPECT_THAT(printed.output, AllOf(StartsWith("<?xml"), HasSubstr(">a</text>")));
    const std::string file = folder.Path() / "start.svg";
    const Result written = Hearthctl({"plot", log, "-o", file});
    EXPECT_EQ(written.status, 0);
    EXPECT_EQ(written.output, "");
    EXPECT_EQ(ReadFile(file), printed.output);
    const Result refused = Hearthctl({"plot", log, "-o", folder.Path()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("cannot write " + folder.Path().string()));
}

TEST_F(LogVerbs, FailWhereTheLogTellsOfNoStart) {
    for (const std::string verb : {"plot", "blame"}) {
        const std::string picture = folder.Path() / "start.svg";
        const Result result = Hearthctl({verb, Write("empty", "")});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, HasSubstr("/empty tells of no start of hearthd"));
    }
    const Result input = Hearthctl({"blame", "-"}, Program::At::FILES, "other lines\n");
    EXPECT_EQ(input.status, 1);
    EXPECT_THAT(input.errors, HasSubstr("standard input tells of no start"));
}

TEST_F(LogVerbs, EndWithTwoWhereTheFileCannotBeRead) {
    for (const std::string verb : {"plot", "blame", "top"}) {
        const Result missing = Hearthctl({verb, "/nowhere/log"});
        EXPECT_EQ(missing.status, 2);
        EXPECT_THAT(missing.errors, HasSubstr("cannot read /nowhere/log: No such file"));
        const Result aFolder = Hearthctl({verb, folder.Path()});
        EXPECT_EQ(aFolder.status, 2);
        EXPECT_THAT(aFolder.errors, HasSubstr("Is a directory"));
    }
}

TEST_F(LogVerbs, TakeTheLastStartFromTheJournal) {
    const auto of = [](const std::string& time, const std::string& process,
                       const std::string& text) {
        return "[   " + time + "] box " + process + ": " + text;
    };
    const std::string old = "hearthd[70]";
    const std::string last = "hearthd[77]";
    PutJournalctl(
        "cat <<'END'\n-- Journal begins at Sun 2026-11-22 05:00:00 UTC. --\n" +
        of(" 7.000000", old, Timing("INIT", "1 ms")) +
        of(" 7.500000", old, Timing("old_LOAD", "1 ms")) +
        of("12.000100", "systemd[1]", "Starting hearthd.service - Host of services...\n") +
        of("12.003000", last, Timing("INIT", "2 ms")) +
        of("12.004000", last, Timing("a_LOAD", "1 ms")) +
        of("22.004000", last,
           "HEARTHD [80] Service.cpp: HandOver(87) > Timeout 10 seconds occured!\n") +
        of("22.004000", last,
           "HEARTHD [80] ServiceManager.cpp: StartService(86) > failed to start a service\n") +
        of("22.005000", last, Timing("b_LOAD", "700 us")) +
        of("22.005100", last, Timing("b_START", "100 us")) + "END");
    const Result result = Hearthctl({"blame"});
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, "     LOAD      START        SUM   SERVICE\n"
                             "     1 ms     10.0 s     10.0 s   a   (start timed out)\n"
                             "   700 us     100 us     800 us   b\n");
    EXPECT_EQ(ReadFile(folder.Path() / "asked"),
              "--unit=hearthd --boot --output=short-monotonic --all --no-pager\n");
}

TEST_F(LogVerbs, FailWhereTheJournalCannotBeRead) {
    PutJournalctl("echo 'no permission' >&2; exit 1");
    for (const std::string verb : {"plot", "top"}) {
        const Result result = Hearthctl({verb});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.errors, AllOf(HasSubstr("no permission\nhearthctl: journalctl"),
                                         HasSubstr("a FILE with the daemon's log")));
    }
    setenv("PATH", "/nowhere", 1);
    const Result result = Hearthctl({"blame"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("cannot run journalctl: No such file"));
}

TEST_F(LogVerbs, TopFollowsTheJournalAndEndsItsTool) {
    PutJournalctl("echo $$ >" + (folder.Path() / "process").string() + "\ncat <<'END'\n" +
                  Timing("a_CALL_API", "12 us") + "END\nexec sleep 1000");
    Program top({HEARTHCTL, "top", "--interval", "0.1", "--json"});
    ASSERT_TRUE(WaitForCalls(top, "a", 1));
    top.Signal(SIGTERM);
    EXPECT_EQ(top.Wait(), 0);
    EXPECT_EQ(ReadFile(folder.Path() / "asked"),
              "--unit=hearthd --follow --lines=0 --output=cat --all\n");
    EXPECT_NE(kill(std::stoi(ReadFile(folder.Path() / "process")), 0), 0);
}

TEST_F(LogVerbs, TopPrintsATableOfEachService) {
    const std::string log =
        Timing("a_CALL_API", "7 us") + Timing("b_CALL_API", "12 ms") + Timing("b_CALL_API", "5 us");
    const Result result = Hearthctl({"top", "-"}, Program::At::FILES, log);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output,
                MatchesRegex("20[-0-9]+T[0-9:.]+[-+][0-9]{4}   3 calls, [0-9.]+ a second\n"
                             "   CALLS/S    MEDIAN      95TH   LONGEST   REFUSED   SERVICE\n"
                             " *[0-9.]+ +5 us     12 ms     12 ms         0   b\n"
                             " *[0-9.]+ +7 us      7 us      7 us         0   a\n\n"));
}

TEST_F(LogVerbs, TopShowsWhatComesFromNowOn) {
    const std::string log = Write("log", Timing("old_CALL_API", "1 us"));
    Program top({HEARTHCTL, "top", "--interval", "0.1", "--json", log});
    ASSERT_TRUE(WaitUntil([&] {
        Write("log", Timing("new_CALL_API", "1 us"));
        return CallsOf("new", top.Output()) > 0;
    }));
    EXPECT_EQ(CallsOf("old", top.Output()), 0);
    Write("log", Timing("ahead_CALL_API", "1 us") + "PERFORMANCE MONITOR - tag: halved_CA");
    ASSERT_TRUE(WaitForCalls(top, "ahead", 1));
    Write("log", "LL_API execution_time: 1 us\n");
    EXPECT_TRUE(WaitForCalls(top, "halved", 1));
}

TEST_F(LogVerbs, TopFindsALogAgainThatWasReplacedOrEmptied) {
    const std::string log = Write("log", "a first line\n");
    Program top({HEARTHCTL, "top", "--interval", "0.1", "--json", log});
    ASSERT_TRUE(WaitUntil([&] {
        Write("log", Timing("first_CALL_API", "1 us"));
        return CallsOf("first", top.Output()) > 0;
    }));
    std::filesystem::rename(log, log + ".1");
    // So long that what follows the emptying isn't soon as long.
    Write("log", std::string(1'000'000, '\n') + Timing("second_CALL_API", "1 us"));
    ASSERT_TRUE(WaitForCalls(top, "second", 1));
    std::filesystem::resize_file(log, 0);
    ASSERT_TRUE(WaitUntil([&] {
        Write("log", Timing("third_CALL_API", "1 us"));
        return CallsOf("third", top.Output()) > 0;
    }));
    EXPECT_EQ(CallsOf("second", top.Output()), 1);
}

TEST_F(LogVerbs, TopDrawsAnewAtATerminalUntilControlC) {
    const std::string log = Write("log", "");
    Program top({HEARTHCTL, "top", "--interval", "0.1", log}, Program::At::TERMINAL);
    ASSERT_TRUE(WaitUntil([&] {
        for (int i = 0; i < 30; ++i) {
            Write("log", Timing("s" + std::to_string(i) + "_CALL_API", "1 us"));
        }
        return CountOf(top.Output(), REDRAWN) >= 5;
    }));
    top.Type("\x03");
    EXPECT_EQ(top.Wait(), 0);
    for (std::string rest = top.Output(); rest.find(REDRAWN) != std::string::npos;) {
        rest.erase(0, rest.find(REDRAWN) + 1);
        EXPECT_LE(CountOf(rest.substr(0, rest.find(REDRAWN)), "\n"), 23) << "as high as the screen";
    }
}

TEST_F(LogVerbs, TopMayEndAfterOneInterval) {
    const Result result =
        Hearthctl({"top", "--once", "--interval", "0.1", "--json", Write("log", "")});
    EXPECT_EQ(result.status, 0);
    ASSERT_EQ(JsonLines(result.output).size(), 1U);
    EXPECT_GE(JsonLines(result.output)[0]["seconds"].asDouble(), 0.1);
    EXPECT_EQ(Hearthctl({"top", "--interval", "0"}).status, 2);
}

class LogOfADaemon : public DaemonTest {
protected:
    static constexpr const char* EXAMPLES = "/usr/apps/org.norvane.hearthd/lib/services/lib";

    void AddExamples() {
        int priority = 100;
        std::map<std::string, Daemon::Manifest> manifests;
        for (const std::string& name : names) {
            manifests[name] = {.library = EXAMPLES + name + ".so", .priority = priority--};
        }
        daemon.AddServices(manifests);
        unsetenv("DISPLAY"); // without which "volume" doesn't start
    }

    // As both streams in one file would look.
    std::string Captured() const { return daemon.Output() + daemon.Log(); }

    // What the daemon's own line says of a stage.
    int Told(const std::string& tag) const {
        const std::string line = "tag: " + tag + " execution_time: ";
        const std::string output = daemon.Output();
        const std::size_t at = output.find(line);
        EXPECT_NE(at, std::string::npos) << tag;
        int value = 0;
        std::string unit;
        std::istringstream(
            output.substr(std::min(at, output.size() - line.size()) + line.size())) >>
            value >> unit;
        return unit == "ms" ? 1000 * value : value;
    }

    const std::vector<std::string> names{"echo", "lazy", "captions", "volume", "epg", "clock"};
};

TEST_F(LogOfADaemon, HasEveryExampleThatWasStarted) {
    AddExamples();
    StartAndWait();
    const Result result = Hearthctl({"blame", "--json", "-"}, Program::At::FILES, Captured());
    ASSERT_EQ(result.status, 0) << result.errors;
    const Json::Value services = JsonLines(result.output).at(0);
    ASSERT_EQ(services.size(), names.size());
    for (const Json::Value& service : services) {
        const std::string name = service["service"].asString();
        EXPECT_EQ(service["load_us"], Told(name + "_LOAD")) << name;
        if (name == "volume") {
            EXPECT_EQ(service["trouble"], "failed to start");
            EXPECT_GT(service["start_us"].asInt(), 0) << "by the times of the log";
            EXPECT_LT(service["start_us"].asInt(), 10'000'000);
        } else {
            EXPECT_EQ(service["start_us"], Told(name + "_START")) << name;
            EXPECT_EQ(service["trouble"], "") << name;
        }
    }
}

TEST_F(LogOfADaemon, IsDrawnInTheOrderOfTheStart) {
    AddExamples();
    StartAndWait();
    const Result result = Hearthctl({"plot", "-"}, Program::At::FILES, Captured());
    ASSERT_EQ(result.status, 0) << result.errors;
    std::size_t at = 0;
    for (const std::string& name : names) {
        const std::size_t row = result.output.find(">" + name + "</text>");
        ASSERT_NE(row, std::string::npos) << name;
        EXPECT_GT(row, at) << name;
        at = row;
    }
}

TEST_F(LogOfADaemon, TellsTopOfEachCall) {
    daemon.AddServices({{"probe", {.library = "libprobe.so"}}});
    StartAndWait();
    Program top({HEARTHCTL, "top", "--interval", "0.2", "--json", daemon.OutputFile()});
    int calls = 0;
    ASSERT_TRUE(WaitUntil([&] { // it takes its time to come up
        Hearthctl({"call", "probe"});
        ++calls;
        return CallsOf("probe", top.Output()) > 0;
    }));
    ASSERT_EQ(Hearthctl({"call", "--repeat", "300", "probe", R"({"a":1})"}).status, 0);
    EXPECT_TRUE(WaitForCalls(top, "probe", 301));
    top.Signal(SIGINT);
    EXPECT_EQ(top.Wait(), 0);
    EXPECT_LE(CallsOf("probe", top.Output()), 300 + calls);
}

TEST_F(LogOfADaemon, TellsTopOfCallsThatWereRefused) {
    daemon.AddServices({{"probe", {.library = "libprobe.so"}},
                        {"sleeper", {.library = "libprobe2.so", .launchType = 1}}});
    StartAndWait();
    Hearthctl({"call", "sleeper"});
    Hearthctl({"signal", "sleeper"});
    Hearthctl({"call", "nobody"});
    ASSERT_TRUE(daemon.WaitForLog("service['sleeper'] service is not started", 2));
    const Result result = Hearthctl({"top", "--json", "-"}, Program::At::FILES, Captured());
    const Json::Value services = JsonLines(result.output).at(0)["services"];
    ASSERT_EQ(services.size(), 2U);
    EXPECT_EQ(services[0]["service"], "sleeper");
    EXPECT_EQ(services[0]["refused"], 2);
    EXPECT_EQ(services[1]["service"], "nobody");
    EXPECT_EQ(services[1]["refused"], 1);
}

} // namespace

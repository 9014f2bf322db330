// SPDX-License-Identifier: Apache-2.0

// hearthctl as people and scripts run it, against the installed daemon.

#include "DaemonTest.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <json/json.h>

#include "RunHearthctl.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

Result AtTerminal(std::vector<std::string> words) {
    return Hearthctl(std::move(words), Program::At::TERMINAL);
}

Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

class HearthctlTool : public DaemonTest {
protected:
    HearthctlTool() {
        daemon.AddServices({{"probe", {.library = "libprobe.so"}},
                            {SLEEPER, {.library = "libprobe2.so", .launchType = 1}}});
        StartAndWait();
    }

    static constexpr const char* SLEEPER = "a_service_that_sleeps";
};

TEST_F(HearthctlTool, ListsTheServices) {
    const Result plain = Hearthctl({"list"});
    EXPECT_EQ(plain.output, "a_service_that_sleeps\nprobe\n");
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(AtTerminal({"list"}).output, "SERVICE\na_service_that_sleeps\nprobe\n");
    EXPECT_EQ(Hearthctl({"list", "--json"}).output, "[\"a_service_that_sleeps\",\"probe\"]\n");
}

TEST_F(HearthctlTool, ShowsTheStatesInAlignedColumns) {
    EXPECT_EQ(AtTerminal({"status"}).output, "SERVICE                 STATE\n"
                                             "a_service_that_sleeps   not-load\n"
                                             "probe                   started\n");
    EXPECT_EQ(AtTerminal({"status", "probe"}).output, "SERVICE   STATE\n"
                                                      "probe     started\n");
}

// Manifests come in their folder's order, which is any: eight of them are in the order of their
// names once in forty thousand times.
TEST_F(HearthctlTool, ShowsPeopleTheServicesByTheirNames) {
    std::string names = "SERVICE\na_service_that_sleeps\n";
    for (const std::string name : {"b", "c", "d", "e", "f", "g", "h", "i"}) {
        daemon.AddService(name, {.library = "libprobe.so", .launchType = 1});
        names += name + "\n";
    }
    daemon.Kill();
    daemon.Start();
    ASSERT_TRUE(WaitForStart(daemon, 2));
    EXPECT_EQ(AtTerminal({"list"}).output, names + "probe\n");
    EXPECT_THAT(AtTerminal({"status"}).output,
                MatchesRegex("SERVICE +STATE\na_service_that_sleeps +not-load\nb +not-load\n"
                             "(. +not-load\n)*i +not-load\nprobe +started\n"));
}

TEST_F(HearthctlTool, ShowsTheDaemonsTextOrJsonElsewhere) {
    EXPECT_EQ(Hearthctl({"status"}).output, "a_service_that_sleeps   not-load\n"
                                            "probe           started\n");
    EXPECT_EQ(Hearthctl({"--json", "status"}).output,
              "[{\"service\":\"a_service_that_sleeps\",\"state\":\"not-load\"},"
              "{\"service\":\"probe\",\"state\":\"started\"}]\n");
    EXPECT_EQ(AtTerminal({"status", "probe", "--json"}).output,
              "[{\"service\":\"probe\",\"state\":\"started\"}]\n");
}

TEST_F(HearthctlTool, SaysWhatTheDaemonSaysOfAnUnknownService) {
    const Result result = Hearthctl({"status", "nobody"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "hearthctl: Service nobody does not exist\n");
    const Result started = Hearthctl({"start", "nobody"});
    EXPECT_EQ(started.status, 1);
    EXPECT_EQ(started.output, "Service nobody does not exist\nService nobody does not exist\n");
}

TEST_F(HearthctlTool, StartsALazyServiceAndStopsIt) {
    const Result start = Hearthctl({"start", SLEEPER});
    EXPECT_EQ(start.status, 0);
    EXPECT_EQ(start.output, "State successfully changed to loaded\n"
                            "State successfully changed to started\n");
    EXPECT_EQ(Hearthctl({"call", SLEEPER, R"({"a":1})"}).output, "{\"a\":1}\n");
    EXPECT_EQ(Hearthctl({"stop", SLEEPER}).output, "State successfully changed to loaded\n");
    const Result unload = Hearthctl({"unload", SLEEPER, "--json"});
    EXPECT_EQ(unload.status, 0) << "the first of its two steps is refused";
    EXPECT_EQ(Parse(unload.output)["changed"], true);
    EXPECT_EQ(Parse(unload.output)["answer"][0],
              "Failed to change status. Current service status is loaded");
    EXPECT_EQ(Hearthctl({"load", SLEEPER}).output, "State successfully changed to loaded\n");
}

TEST_F(HearthctlTool, FailsWhereTheDaemonRefuses) {
    const Result result = Hearthctl({"start", "probe"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "Failed to change status. Current service status is started\n"
                             "Failed to change status. Current service status is started\n");
    EXPECT_EQ(Hearthctl({"stop", SLEEPER}).status, 1);
}

TEST_F(HearthctlTool, CallsAServiceAndPrintsItsReply) {
    const Result plain = Hearthctl({"call", "probe", R"({"text": "grün", "n": [1, 2]})"});
    EXPECT_EQ(plain.output, "{\"n\":[1,2],\"text\":\"grün\"}\n");
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(AtTerminal({"call", "probe", R"({"text": "hello"})"}).output,
              "{\n  \"text\" : \"hello\"\n}\n");
    EXPECT_TRUE(daemon.WaitForLog("> DBUS Message received from marrow.ser.client.PID_", 2));
}

TEST_F(HearthctlTool, TakesTheArgumentsFromAFileOrFromStandardInput) {
    const std::string path = bus.Folder() + "/arguments.json";
    std::ofstream(path) << "{\"from\": \"a file\"}\n";
    EXPECT_EQ(Hearthctl({"call", "probe", "@" + path}).output, "{\"from\":\"a file\"}\n");
    EXPECT_EQ(Hearthctl({"call", "probe", "-"}, Program::At::FILES, R"({"from": "input"})").output,
              "{\"from\":\"input\"}\n");
    const Result missing = Hearthctl({"call", "probe", "@/nowhere/at.all"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.errors,
              "hearthctl: cannot read /nowhere/at.all: No such file or directory\n");
    const Result folder = Hearthctl({"call", "probe", "@/"});
    EXPECT_EQ(folder.status, 2);
    EXPECT_EQ(folder.errors, "hearthctl: cannot read /: Is a directory\n");
}

TEST_F(HearthctlTool, FailsOnAReturnError) {
    const Result result = Hearthctl({"call", "nobody"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, std::string(DELIVERY_FAILED) + "\n");
}

TEST_F(HearthctlTool, RefusesArgumentsThatAreNoJsonObject) {
    const Result broken = Hearthctl({"call", "probe", "{\"a\": }"});
    EXPECT_EQ(broken.status, 2);
    EXPECT_THAT(broken.errors,
                HasSubstr("hearthctl: the arguments are no JSON:\n* Line 1, Column"));
    const Result array = Hearthctl({"call", "probe", "[1]"});
    EXPECT_EQ(array.status, 2);
    EXPECT_THAT(array.errors, HasSubstr("hearthctl: the arguments must be a JSON object"));
    const std::string deep(5000, '[');
    EXPECT_EQ(Hearthctl({"call", "probe", deep}).status, 2);
    EXPECT_EQ(Hearthctl({"signal", "probe", "7"}).status, 2);
    EXPECT_EQ(CountOf(daemon.Log(), "> DBUS Message received"), 0);
}

TEST_F(HearthctlTool, GivesUpAfterItsTimeout) {
    const Result result =
        Hearthctl({"call", "--timeout", "0.2", "probe", R"({"do":"sleep","ms":3000})"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "hearthctl: no answer from marrow.ser.server.MessageRouter within 0.2 s\n");
    EXPECT_EQ(Hearthctl({"call", "--timeout", "26", "probe"}).status, 2);
}

TEST_F(HearthctlTool, SumsUpManyCalls) {
    const Result result = Hearthctl({"call", "--repeat", "50", "probe", "{\"a\":1}"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, MatchesRegex("50 calls in [0-9.]+ s, [0-9]+ a second, 0 failed\n"
                                            "min +[0-9.]+ us\np50 +[0-9.]+ us\np90 +[0-9.]+ us\n"
                                            "p99 +[0-9.]+ us\nmax +[0-9.]+ us\n"));
    EXPECT_EQ(result.errors, "") << "no bar where nobody looks";
    EXPECT_EQ(CountOf(daemon.Output(), "tag: probe_CALL_API "), 50);
}

TEST_F(HearthctlTool, CountsTheCallsThatFail) {
    const Result result = Hearthctl({"call", "--repeat", "7", "nobody", "--json"});
    EXPECT_EQ(result.status, 1);
    const Json::Value summary = Parse(result.output);
    EXPECT_EQ(summary["calls"], 7);
    EXPECT_EQ(summary["failed"], 7);
    EXPECT_GT(summary["latency_us"]["p50"].asDouble(), 0);
    EXPECT_LE(summary["latency_us"]["min"].asDouble(), summary["latency_us"]["max"].asDouble());
}

TEST_F(HearthctlTool, ShowsABarAtATerminalAndTakesItAwayAgain) {
    const Result result =
        AtTerminal({"call", "--repeat", "4", "probe", R"({"do":"sleep","ms":150})"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("\r[........................................] 0 of 4"));
    EXPECT_THAT(result.output, HasSubstr("\r[####################....................] 2 of 4"));
    EXPECT_THAT(result.output, HasSubstr("\r\x1b[K4 calls in "));
}

TEST_F(HearthctlTool, SendsTheOneWayForm) {
    const Result result = Hearthctl({"signal", "probe", R"({"a":1})"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(daemon.WaitForLog(std::string("> Signal ") + ROUTER_SIGNAL + " sent to router"));
    EXPECT_TRUE(daemon.WaitForLog("> Calling [probe] API with data :\n{\n\t\"a\" : 1\n}"));
}

TEST_F(HearthctlTool, EndsWithThreeWhereThereIsNoDaemon) {
    daemon.Kill();
    ASSERT_TRUE(WaitUntil([] { return !RawClient().NameHasOwner(ROUTER); }));
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"list"}, {"call", "probe"}, {"signal", "probe"}, {"monitor"}}) {
        const Result result = Hearthctl(words);
        EXPECT_EQ(result.status, 3) << words[0];
        EXPECT_THAT(result.errors,
                    HasSubstr("hearthctl: hearthd isn't on the bus at " + bus.Address()));
        EXPECT_THAT(result.errors, HasSubstr("start it"));
    }
}

TEST_F(HearthctlTool, EndsWithThreeWhereThereIsNoBus) {
    bus.Kill();
    const Result result = Hearthctl({"list"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.errors, HasSubstr("hearthctl: there is no message bus at " + bus.Address()));
    EXPECT_THAT(result.errors, HasSubstr("DBUS_SYSTEM_BUS_ADDRESS"));
}

TEST_F(HearthctlTool, EndsWithTwoWhereItIsUsedWrongly) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{},
                                               {"dance"},
                                               {"start"},
                                               {"start", "a", "b"},
                                               {"list", "--loud"},
                                               {"call", "probe", "--repeat", "0"},
                                               {"call", "probe", "--timeout", "soon"},
                                               {"call", "probe", "--timeout", "nan"},
                                               {"top", "--interval", "NaN", "/dev/null"},
                                               {"monitor", "--count", "-1"}}) {
        const Result result = Hearthctl(words);
        EXPECT_EQ(result.status, 2) << (words.empty() ? "" : words[0]);
        EXPECT_NE(result.errors, "");
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(HearthctlTool, ExplainsEveryVerb) {
    EXPECT_THAT(Hearthctl({"--version"}).output, MatchesRegex("hearthctl [0-9.]+\n"));
    const Result help = Hearthctl({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* verb : {"list", "status", "load", "start", "stop", "unload", "call", "signal",
                             "monitor", "plot", "blame", "top"}) {
        EXPECT_THAT(help.output, HasSubstr(std::string("\n  ") + verb + " "));
        const Result ofVerb = Hearthctl({verb, "--help"});
        EXPECT_EQ(ofVerb.status, 0);
        EXPECT_THAT(ofVerb.output, HasSubstr(std::string("hearthctl ") + verb));
    }
}

class Monitor : public HearthctlTool {
protected:
    void Notify(const std::string& subject) {
        client.Call(ROUTER, "probe", R"({"do":"notify","subject":")" + subject + "\"}");
    }

    // Notifies until the monitor, which takes its time to come up, has seen it.
    bool NotifyUntilShown(Program& monitor, const std::string& subject) {
        return WaitUntil([&] {
            Notify(subject);
            return monitor.Output().find(subject) != std::string::npos;
        });
    }

    RawClient client;
};

TEST_F(Monitor, PrintsEachNotificationOnALineOfItsOwn) {
    Program monitor({HEARTHCTL, "monitor", "--count", "1"});
    ASSERT_TRUE(NotifyUntilShown(monitor, "news"));
    EXPECT_EQ(monitor.Wait(), 0);
    EXPECT_THAT(monitor.Output(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}.[0-9]{3}"
                             "[-+][0-9]{4}  news  .\"do\":\"notify\",\"subject\":\"news\".\n"));
}

TEST_F(Monitor, KeepsToTheSubjectsThatAreAsked) {
    Program monitor({HEARTHCTL, "monitor", "--json", "one", "two", "one", "last"});
    ASSERT_TRUE(NotifyUntilShown(monitor, "two"));
    Notify("onemore");
    Notify("one");
    Notify("last");
    ASSERT_TRUE(monitor.WaitForOutput("\"subject\":\"last\""));
    EXPECT_EQ(CountOf(monitor.Output(), "onemore"), 0);
    EXPECT_EQ(CountOf(monitor.Output(), R"("subject":"one")"), 2) << "once, and in the payload";
    monitor.Signal(SIGINT);
    EXPECT_EQ(monitor.Wait(), 0);
    const Json::Value line = Parse(monitor.Output());
    EXPECT_EQ(line["subject"], "two");
    EXPECT_EQ(line["payload"]["do"], "notify");
    EXPECT_THAT(line["time"].asString(), HasSubstr("T"));
}

TEST_F(Monitor, EndsAtATerminalWithControlC) {
    Program monitor({HEARTHCTL, "monitor"}, Program::At::TERMINAL);
    ASSERT_TRUE(NotifyUntilShown(monitor, "news"));
    monitor.Type("\x03");
    EXPECT_EQ(monitor.Wait(), 0);
}

TEST_F(Monitor, TakesNoControlCharactersToTheTerminal) {
    Program monitor({HEARTHCTL, "monitor", "--count", "1"});
    ASSERT_TRUE(WaitUntil([&] {
        Notify("red\\u001b[31m\\nline");
        return monitor.Output().find("red") != std::string::npos;
    }));
    EXPECT_THAT(monitor.Output(), HasSubstr("  red?[31m?line  {"));
    EXPECT_EQ(monitor.Wait(), 0);
}

class Completion : public HearthctlTool {
protected:
    // What bash offers behind these words, the last of which is being typed.
    static std::string Complete(const std::string& words) {
        Program bash({"bash", "-c",
                      "PATH=" HEARTHD_STAGE "/usr/bin:$PATH\n"
                      "source " HEARTHD_STAGE "/usr/share/bash-completion/completions/hearthctl\n"
                      "COMP_WORDS=(" +
                          words +
                          ")\n"
                          "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                          "complete -p hearthctl >/dev/null && _hearthctl\n"
                          "echo \"${COMPREPLY[@]}\""});
        bash.Wait();
        EXPECT_EQ(bash.Errors(), "");
        return bash.Output();
    }
};

TEST_F(Completion, KnowsVerbsAndOptions) {
    EXPECT_EQ(Complete("hearthctl sta"), "status start stacks\n");
    EXPECT_EQ(Complete("hearthctl stacks --l"), "--last\n");
    EXPECT_EQ(Complete("hearthctl --j"), "--json\n");
    EXPECT_EQ(Complete("hearthctl check --"), "--help --json --root --strict\n");
    EXPECT_EQ(Complete("hearthctl check " HEARTHD_STAGE "/usr/share/hearthd/m"),
              HEARTHD_STAGE "/usr/share/hearthd/manifest.schema.json\n");
    EXPECT_EQ(Complete("hearthctl new --l"), "--listen\n");
    EXPECT_EQ(Complete("hearthctl new --listen ''"),
              "captions config keys pes programs sections signals\n");
    EXPECT_EQ(Complete("hearthctl new --listen s"), "sections signals\n");
    EXPECT_EQ(Complete("hearthctl new --listen keys ''"), "\n");
    EXPECT_EQ(Complete("hearthctl plot --o"), "--output\n");
    EXPECT_EQ(Complete("hearthctl plot -o x " HEARTHD_STAGE "/usr/share/hearthd/m"),
              HEARTHD_STAGE "/usr/share/hearthd/manifest.schema.json\n");
    EXPECT_EQ(Complete("hearthctl top --"), "--help --json --interval --once\n");
    EXPECT_EQ(Complete("hearthctl call --re"), "--repeat\n");
    EXPECT_EQ(Complete("hearthctl call --repeat ''"), "\n");
}

TEST_F(Completion, KnowsTheServicesOfTheRunningDaemon) {
    EXPECT_EQ(Complete("hearthctl --json start ''"), "a_service_that_sleeps probe\n");
    EXPECT_EQ(Complete("hearthctl call --repeat 5 pr"), "probe\n");
    EXPECT_EQ(Complete("hearthctl start probe ''"), "\n") << "one is enough";
    daemon.Kill();
    EXPECT_EQ(Complete("hearthctl start ''"), "\n");
}

// A name is anybody's who may write a manifest; root presses the key.
TEST_F(Completion, RunsNothingThatStandsInAName) {
    const TemporaryFolder folder;
    const std::string made = (folder.Path() / "made").string();
    const std::string name = "$(touch " + made + ")";
    Program bash({"bash", "-c",
                  "source " HEARTHD_STAGE "/usr/share/bash-completion/completions/hearthctl\n"
                  "hearthctl() { echo '" +
                      name +
                      "'; }\n"
                      "COMP_WORDS=(hearthctl start '')\n"
                      "COMP_CWORD=2\n"
                      "_hearthctl\n"
                      "eval \"printf %s ${COMPREPLY[0]}\"\n"});
    bash.Wait();
    EXPECT_EQ(bash.Errors(), "");
    EXPECT_EQ(bash.Output(), name) << "and it is quoted for whoever presses Enter";
    EXPECT_FALSE(std::filesystem::exists(made));
}

} // namespace

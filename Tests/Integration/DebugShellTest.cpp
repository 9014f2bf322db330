// SPDX-License-Identifier: Apache-2.0

// The debug shell of the installed daemon: the pipe as a shell drives it, and the D-Bus channel.

#include "DaemonTest.h"

#include <csignal>
#include <filesystem>
#include <json/json.h>

#include "ProcessUse.h"
#include "Program.h"
#include "WaitUntil.h"

namespace {

constexpr const char* ANSWER = "> Response from command execution: ";

class DebugShell : public DaemonTest {
protected:
    DebugShell() {
        daemon.AddServices({{"probe", {.library = "libprobe.so"}},
                            {"sleeper", {.library = "libprobe2.so", .launchType = 1}}});
        daemon.SetEnvironment("DLOG_LEVEL", "debug");
    }

    // Has a shell run the command, in which $pipe is the pipe.
    void Shell(const std::string& command) {
        Program shell({"env", "pipe=" + daemon.Pipe(), "sh", "-c", command});
        EXPECT_EQ(shell.Wait(), 0) << shell.Errors();
    }

    RawClient::Reply Send(const std::string& function, const std::string& service = {}) {
        return client.Call(DEBUG_SHELL, "", ShellRequest(function, service));
    }

    // The text of the answer.
    std::string Ask(const std::string& function, const std::string& service = {}) {
        Json::Value payload;
        std::istringstream(Send(function, service).payload) >> payload;
        EXPECT_EQ(payload.getMemberNames(), std::vector<std::string>{"return"});
        return payload["return"].asString();
    }

    RawClient client;
};

TEST_F(DebugShell, AnswersALineInThePipeInTheLog) {
    StartAndWait();
    Shell("printf 'service-command list-services\\n' >$pipe");
    EXPECT_TRUE(
        daemon.WaitForLog(std::string(ANSWER) + "{\n\t\"return\" : \"probe\\nsleeper\\n\"\n}\n"));
}

TEST_F(DebugShell, StartsALazyServiceThroughThePipe) {
    StartAndWait();
    EXPECT_EQ(client.Call(ROUTER, "sleeper", R"({"a":1})").payload, DELIVERY_FAILED);
    Shell("printf 'service-command status-start sleeper\\n' >$pipe");
    ASSERT_TRUE(daemon.WaitForLog(std::string(ANSWER) +
                                  "{\n\t\"return\" : \"State successfully changed to loaded"
                                  "\\nState successfully changed to started\\n\"\n}\n"));
    EXPECT_EQ(client.Call(ROUTER, "sleeper", R"({"a":1})").payload, R"({"a":1})");
}

TEST_F(DebugShell, HandlesTheLinesOfOneWriteInTheirOrder) {
    StartAndWait();
    Shell("printf 'service-command status-load sleeper\\nservice-command status-unload sleeper\\n"
          "\\nnonsense\\nservice-command list-services-status\\n' >$pipe");
    ASSERT_TRUE(daemon.WaitForLog(ANSWER, 4));
    const std::string log = daemon.Log();
    const std::size_t loaded = log.find("State successfully changed to loaded");
    const std::size_t unloaded = log.find("State successfully changed to not-load");
    const std::size_t incorrect = log.find("> Incorrect command: nonsense");
    const std::size_t states = log.find("probe           started\\nsleeper         not-load\\n");
    EXPECT_LT(loaded, unloaded);
    EXPECT_LT(unloaded, incorrect);
    EXPECT_LT(incorrect, states);
    EXPECT_NE(states, std::string::npos);
    EXPECT_EQ(CountOf(log, ANSWER), 4) << "the empty line is none";
}

TEST_F(DebugShell, OutlivesAThousandWritersOneAfterTheOther) {
    StartAndWait();
    Shell("printf 'service-command list-services\\n' >$pipe");
    ASSERT_TRUE(daemon.WaitForLog(ANSWER));
    const std::ptrdiff_t before = OpenDescriptors(daemon.Pid());
    Shell("i=0; while [ $i -lt 1000 ]; do printf 'service-command nothing\\n' >$pipe; "
          "i=$((i + 1)); done");
    // What lies in the pipe is read in blocks, which cut a line that they end in.
    EXPECT_TRUE(WaitUntil([&] {
        Shell("printf 'service-command list-services-status probe\\n' >$pipe");
        return daemon.Log().find("probe   started\\n") != std::string::npos;
    }));
    EXPECT_TRUE(daemon.IsRunning());
    EXPECT_TRUE(WaitUntil([&] { return OpenDescriptors(daemon.Pid()) <= before; }));
}

TEST_F(DebugShell, TakesWhatIsThereOfALineWhoseWriterDies) {
    StartAndWait();
    Shell("sh -c 'printf \"service-command list-serv\" >&3; kill -9 $$' 3>$pipe || true");
    EXPECT_TRUE(daemon.WaitForLog("> function: list-serv\n"));
    EXPECT_TRUE(daemon.WaitForLog(std::string(ANSWER) + "{\n\t\"return\" : \"\"\n}"));
    Shell("printf 'service-command list-services\\n' >$pipe");
    EXPECT_TRUE(daemon.WaitForLog("\"return\" : \"probe\\nsleeper\\n\""));
}

TEST_F(DebugShell, GoesOnWithDBusAloneWhereThereIsNoPipe) {
    daemon.RemovePipe();
    StartAndWait();
    EXPECT_TRUE(daemon.WaitForLog(
        "> Cannot open the /usr/apps/org.norvane.hearthd/api/control pipe read-only "
        "[ret=-1, errno=2]"));
    EXPECT_EQ(Ask("list-services"), "probe\nsleeper\n");
}

TEST_F(DebugShell, MovesAServiceThroughItsStatesOverDBus) {
    StartAndWait();
    EXPECT_EQ(Ask("list-services-status", "sleeper"), "sleeper   not-load\n");
    EXPECT_EQ(Ask("status-load", "sleeper"), "State successfully changed to loaded\n");
    EXPECT_EQ(Ask("status-load", "sleeper"),
              "Failed to change status. Current service status is loaded\n");
    EXPECT_EQ(Ask("status-start", "sleeper"),
              "Failed to change status. Current service status is loaded\n"
              "State successfully changed to started\n");
    EXPECT_EQ(client.Call(ROUTER, "sleeper", R"({"a":1})").payload, R"({"a":1})");
    EXPECT_EQ(Ask("status-unload", "sleeper"), "State successfully changed to loaded\n"
                                               "State successfully changed to not-load\n");
    EXPECT_EQ(client.Call(ROUTER, "sleeper", R"({"a":1})").payload, DELIVERY_FAILED);
    EXPECT_EQ(Ask("status-start", "nobody"),
              "Service nobody does not exist\nService nobody does not exist\n");
}

TEST_F(DebugShell, ListsNothingWhereThereAreNoManifests) {
    daemon.RemoveManifestFolder();
    StartAndWait();
    EXPECT_EQ(Ask("list-services"), "There is no services to list.\n");
    EXPECT_EQ(Ask("list-services-status"), "There is no services to list.\n");
}

TEST_F(DebugShell, LeavesAMessageWithoutAKnownTagUnanswered) {
    StartAndWait();
    EXPECT_EQ(client.Call(DEBUG_SHELL, "", R"({"function":"list-services"})").payload, "");
    EXPECT_EQ(
        client.Call(DEBUG_SHELL, "", R"({"org.norvane.services.debugshell.command.tag":"other"})")
            .payload,
        "");
    EXPECT_TRUE(daemon.WaitForLog("> Command tag is missing"));
    EXPECT_TRUE(daemon.WaitForLog("> There is no subscription for command tag: other"));
}

TEST_F(DebugShell, IsUpWhenTheInitTimingHasBeenPrinted) {
    daemon.Start();
    ASSERT_TRUE(daemon.WaitForLog("> Creating command objects"));
    EXPECT_TRUE(daemon.WaitForOutput("PERFORMANCE MONITOR - tag: INIT "));
}

TEST_F(DebugShell, EndsTheProcessWhereATagIsNoText) {
    StartAndWait();
    client.Send(DEBUG_SHELL, "", R"({"org.norvane.services.debugshell.command.tag":{}})");
    EXPECT_EQ(daemon.WaitForEnd(), SIGABRT);
}

} // namespace

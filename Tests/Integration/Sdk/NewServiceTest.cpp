// SPDX-License-Identifier: Apache-2.0

// The projects that `hearthctl new` makes, as a newcomer goes on with them: built, tested and
// installed by the commands that it prints. Then the service runs in a daemon, and hears events.

#include "../ServiceTest.h"

#include <filesystem>
#include <fstream>

#include "../RunHearthctl.h"
#include "ReadFile.h"
#include "RunCommand.h"
#include "StreamMaker.h"
#include "TemporaryFolder.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

namespace {

namespace fs = std::filesystem;

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* KEY = "XF86AudioPlay";
constexpr std::uint16_t PROGRAM = 1;
constexpr std::uint16_t VIDEO_PID = 0x101;

// A source of events, and what its last event has beside others.
struct Source {
    const char* name;
    const char* member;
    Json::Value value;
};
void PrintTo(const Source& source, std::ostream* stream) {
    *stream << source.name;
}
const std::vector<Source> SOURCES{
    {"captions", "format", 1}, {"config", "value", "Ann"},     {"keys", "key", KEY},
    {"pes", "pid", VIDEO_PID}, {"programs", "program", "Sea"}, {"sections", "table", 0},
    {"signals", "signal", 1},
};

class NewService : public ServiceTest {
protected:
    NewService() {
        // The daemon's and the programs' that the test runs.
        setenv("VCONF_DATABASE", (folder.Path() / "vconf.db").c_str(), 1);
        setenv("CMAKE_PREFIX_PATH", HEARTHD_STAGE "/usr", 1);
        setenv("CXX", HEARTHD_COMPILER, 1);
        setenv("CXXFLAGS",
               "-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual "
               "-Wcast-qual -Wextra-semi -Werror",
               1);
        daemon.SetEnvironment("TVSERVICE_SETTINGS", (folder.Path() / "settings").string());
        fs::current_path(folder.Path());
    }
    ~NewService() override { fs::current_path(fs::temp_directory_path()); }

    void SetUp() override {
        if (!std::string(HEARTHD_SANITIZE).empty()) {
            GTEST_SKIP() << "once, without sanitizers, is enough";
        }
    }

    // Makes the project, and goes through the commands that this prints.
    void MakeAndInstall(const std::vector<std::string>& options) {
        std::vector<std::string> words{"new", SERVICE};
        words.insert(words.end(), options.begin(), options.end());
        const Result made = Hearthctl(words);
        ASSERT_EQ(made.status, 0) << made.errors;
        const std::string log = (folder.Path() / "log").string();
        RunCommand("set -e\n" + made.output.substr(made.output.find('\n')), log);
        EXPECT_NE(ReadFile(log).find("100% tests passed, 0 tests failed out of 3"),
                  std::string::npos)
            << ReadFile(log);
        AddInstalled();
    }

    // Tells the daemon of the service where it was installed.
    void AddInstalled() {
        const std::string root = (folder.Path() / SERVICE / "root").string();
        std::string text =
            ReadFile(root + "/usr/apps/org.norvane.hearthd/etc/manifests/" + SERVICE + ".json");
        const std::size_t library = text.find(EXAMPLES);
        ASSERT_NE(library, std::string::npos) << text;
        daemon.AddManifest(SERVICE + ".json", text.insert(library, root));
    }

    void Play() {
        streammaker::Multiplex multiplex;
        streammaker::Service service;
        service.id = PROGRAM;
        service.name = "Sea";
        service.pmtPid = 0x100;
        service.videoPid = VIDEO_PID;
        multiplex.services.push_back(service);
        streammaker::StreamMaker maker(multiplex);
        maker.AddCaption(PROGRAM, milliseconds(100), "The tide");
        std::ofstream stream("stream.ts", std::ios::binary);
        maker.Write(stream, seconds(2));
        stream.close();
        std::ofstream("new") << "[source]\naddress = " << (folder.Path() / "stream.ts").string()
                             << "\n[screen 1 0]\npes = " << VIDEO_PID << '\n';
        fs::rename("new", "settings");
    }

    // Until the service has heard of each: what it is told of the configuration, and of programs,
    // begins a moment after its start.
    void ExpectEvents(const std::vector<Source>& sources) {
        Play();
        display.Tap(KEY);
        for (const Source& source : sources) {
            EXPECT_TRUE(WaitUntil([&] {
                SetConfiguration();
                const Json::Value last = Events()[source.name]["last"];
                return last[source.member].asString() == source.value.asString();
            })) << source.name
                << Events();
        }
    }

    static void SetConfiguration() {
        Program set({HEARTHD_STAGE "/usr/bin/vconf", "set", "db/" + SERVICE + "/name", "Ann"});
        EXPECT_EQ(set.Wait(), 0) << set.Errors();
    }

    // {"keys": {"count": 2, "last": {...}}}
    Json::Value Events() {
        Json::Value answer;
        std::istringstream(Call(SERVICE, R"({"get":"events"})")) >> answer;
        return answer["events"];
    }

    inline static const std::string SERVICE = "my_service";

    TemporaryFolder folder;
    VirtualDisplay display;
};

TEST_F(NewService, IsBuiltTestedInstalledAndAnswers) {
    MakeAndInstall({});
    ASSERT_FALSE(HasFatalFailure());
    StartAndWait();
    EXPECT_EQ(Call(SERVICE, R"({"name":"Ann"})"), R"({"greeting":"Hello, Ann"})");
}

TEST_F(NewService, ListensToEverythingAtOnceAndAgainAfterARestart) {
    std::string all;
    for (const Source& source : SOURCES) {
        all += (all.empty() ? "" : ",") + std::string(source.name);
    }
    MakeAndInstall({"--listen", all});
    ASSERT_FALSE(HasFatalFailure());
    StartAndWait();
    ExpectEvents(SOURCES);
    EXPECT_EQ(Shell("status-unload", SERVICE), UNLOADED);
    EXPECT_EQ(Shell("status-start", SERVICE), STARTED);
    EXPECT_TRUE(WaitUntil([&] { return Events()["pes"]["count"].asInt() > 0; }));
}

class NewListener : public NewService, public testing::WithParamInterface<Source> {};

TEST_P(NewListener, IsBuiltTestedInstalledAndHearsItsEvents) {
    MakeAndInstall({"--listen", GetParam().name});
    ASSERT_FALSE(HasFatalFailure());
    StartAndWait();
    ExpectEvents({GetParam()});
    EXPECT_EQ(Events().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(, NewListener, testing::ValuesIn(SOURCES),
                         [](const auto& source) { return std::string(source.param.name); });

} // namespace

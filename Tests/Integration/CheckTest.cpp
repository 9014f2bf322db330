// SPDX-License-Identifier: Apache-2.0

// hearthctl check: where there is neither a bus nor a daemon, and what the daemon does then.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <json/json.h>

#include "DaemonTest.h"
#include "RunHearthctl.h"
#include "TemporaryFolder.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* MANIFESTS = HEARTHD_STAGE "/usr/apps/org.norvane.hearthd/etc/manifests";
constexpr const char* ECHO = "/usr/apps/org.norvane.hearthd/lib/services/libecho.so";

// A manifest of the service `name`, with the library of an example and `more` in a line of its own.
std::string Manifest(const std::string& name, const std::string& more) {
    return "{\"" + name + "\": {\"lib_path\": \"" + ECHO + "\",\n" + more + "\n}}\n";
}

class Check : public testing::Test {
protected:
    Check() { setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1); }

    std::string Write(const std::string& name, const std::string& text) const {
        const std::filesystem::path path = folder.Path() / name;
        std::ofstream(path) << text;
        return path;
    }
    static Result Run(std::vector<std::string> words) {
        words.insert(words.begin(), {"check", "--root", HEARTHD_STAGE});
        return Hearthctl(words);
    }

    const TemporaryFolder folder;
};

TEST_F(Check, FindsNothingInTheManifestsOfTheExamples) {
    const Result result = Run({"--strict", MANIFESTS});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Check, PrintsWhatItFindsAsCompilersDo) {
    const std::string second = Write("b.json", R"({"b": {"priority": "high"}})");
    const std::string first = Write("a.json", Manifest("a", R"(  "prio": 5)"));
    const Result result = Run({second, first});
    EXPECT_EQ(result.output,
              first + ":2:3: warning: the daemon knows no key \"prio\"; is \"priority\" meant?\n" +
                  second +
                  ":1:2: error: the service \"b\" has no \"lib_path\": it is never "
                  "loaded\n" +
                  second +
                  ":1:20: error: \"priority\" is a string and no number: the daemon "
                  "ends\n2 errors, 1 warning\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 1);
}

TEST_F(Check, FailsOnWarningsOnlyWhereItIsStrict) {
    const std::string path = Write("a.json", Manifest("a", R"("priority": 300)"));
    EXPECT_EQ(Run({path}).status, 0);
    const Result strict = Run({"--strict", path});
    EXPECT_EQ(strict.status, 1);
    EXPECT_THAT(strict.output, HasSubstr("\n0 errors, 1 warning\n"));
}

TEST_F(Check, LooksAtTheLibraries) {
    const std::string path = Write("a.json", "{\"a\":\n  {\"lib_path\": \"/none.so\"}}");
    const Result result = Run({path});
    EXPECT_EQ(result.output, path + ":2:16: error: the library " HEARTHD_STAGE
                                    "/none.so can't be opened: No such file or directory\n"
                                    "1 error, 0 warnings\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(Check, ReadsAFolderAsTheDaemonDoes) {
    Write("a.json", Manifest("a", R"("dependencies": ["b"])"));
    Write("b.json.orig", "{");
    Write("c.txt", "{");
    std::filesystem::create_directory(folder.Path() / "d.json");
    const std::string beginning = folder.Path().string() + '/';
    EXPECT_EQ(Run({folder.Path()}).output,
              beginning +
                  "a.json:2:18: warning: none of these manifests declares \"b\", which \"a\" "
                  "depends on\n" +
                  beginning +
                  "b.json.orig:1:1: warning: the daemon reads this too: \".json\" counts anywhere "
                  "in a name\n" +
                  beginning +
                  "b.json.orig:1:2: error: the manifest is passed over: Missing '}' or object "
                  "member name\n" +
                  beginning +
                  "d.json:1:1: error: cannot read it: Is a directory\n"
                  "2 errors, 2 warnings\n");
}

TEST_F(Check, TellsOfAFileThatTheDaemonWouldntRead) {
    const std::string path = Write("a.JSON", "{}");
    EXPECT_EQ(Run({path}).output, path + ":1:1: warning: the daemon reads no file without "
                                         "\".json\" in its name\n0 errors, 1 warning\n");
}

TEST_F(Check, TakesAManifestOnceHoweverItIsNamed) {
    const std::string path = Write("a.json", Manifest("a", R"("priority": 5)"));
    EXPECT_EQ(Run({path, folder.Path(), folder.Path() / "." / "a.json"}).output, "");
}

TEST_F(Check, PrintsJson) {
    const std::string path = Write("a.json", Manifest("a", R"("priority": 300)"));
    const Result result = Run({"--json", path});
    Json::Value found;
    std::istringstream(result.output) >> found;
    ASSERT_EQ(found.size(), 1U) << result.output;
    EXPECT_EQ(found[0]["file"], path);
    EXPECT_EQ(found[0]["line"], 2);
    EXPECT_EQ(found[0]["column"], 13);
    EXPECT_EQ(found[0]["severity"], "warning");
    EXPECT_THAT(found[0]["text"].asString(), StartsWith("\"priority\" is 300"));
    EXPECT_EQ(Run({"--json", MANIFESTS}).output, "[]\n");
}

TEST_F(Check, WantsPathsThatCanBeRead) {
    EXPECT_EQ(Hearthctl({"check"}).status, 2);
    const Result result = Run({MANIFESTS, "/nowhere/at.json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "hearthctl: cannot read /nowhere/at.json: No such file or directory\n");
}

TEST_F(Check, SaysThatItCantLookForUnresolvedNamesWithoutADaemon) {
    const std::string path = Write("a.json", R"({"a": {"lib_path": "/none.so"}})");
    const Result result = Hearthctl({"check", "--root", folder.Path(), path});
    EXPECT_EQ(result.errors,
              "hearthctl: unresolved names aren't looked for: " + folder.Path().string() +
                  "/usr/apps/org.norvane.hearthd/bin/hearthd can't be opened: No "
                  "such file or directory\n");
}

// The same manifest, for the check and for the daemon.
class CheckBesideTheDaemon : public DaemonTest {
protected:
    Result CheckAndStart(const std::string& text) {
        const TemporaryFolder folder;
        const std::filesystem::path path = folder.Path() / "m.json";
        std::ofstream(path) << text;
        daemon.AddManifest("m.json", text);
        daemon.Start();
        return Hearthctl({"check", path});
    }
    static std::string Service(const std::string& library, const std::string& more = {}) {
        return "{\"probe\": {\"lib_path\": \"" HEARTHD_TEST_SERVICES "/" + library + "\"" + more +
               "}}";
    }
};

TEST_F(CheckBesideTheDaemon, ForetellsThatATypeEndsTheDaemon) {
    const Result result = CheckAndStart(Service("libprobe.so", R"(, "priority": "high")"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr(": the daemon ends\n"));
    EXPECT_EQ(daemon.WaitForEnd(), SIGABRT);
}

TEST_F(CheckBesideTheDaemon, ForetellsThatALibraryEndsTheDaemon) {
    const Result result = CheckAndStart(Service("libno_proxy.so"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("exports no variable g_service_proxy: the daemon ends"));
    const auto status = daemon.WaitForEnd();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(*status == SIGSEGV || *status == SIGABRT) << *status << " (a sanitizer aborts)";
}

TEST_F(CheckBesideTheDaemon, FindsNothingWhereTheServiceStarts) {
    const Result result = CheckAndStart(Service("libprobe.so", R"(, "priority": 5)"));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(daemon.WaitForLog("> started probe"));
}

} // namespace

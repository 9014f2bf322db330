// SPDX-License-Identifier: Apache-2.0

// hearthctl new, without what is built of it then.

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <set>

#include "ReadFile.h"
#include "RunHearthctl.h"
#include "TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class New : public testing::Test {
protected:
    New() { fs::current_path(folder.Path()); }
    ~New() override { fs::current_path(fs::temp_directory_path()); }

    static std::set<std::string> FilesIn(const fs::path& path) {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(path)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    TemporaryFolder folder;
};

TEST_F(New, MakesAFolderAndSaysHowToGoOn) {
    const Result result = Hearthctl({"new", "hello"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "hello is made. To build and test it, and to install it:\n\n"
                             "    cd hello\n"
                             "    cmake --workflow --preset default\n"
                             "    DESTDIR=$PWD/root cmake --install build\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(FilesIn("."), ElementsAre("hello"));
    EXPECT_THAT(FilesIn("hello"),
                ElementsAre("CMakeLists.txt", "CMakePresets.json", "HelloLogic.cpp", "HelloLogic.h",
                            "HelloLogicTest.cpp", "HelloService.cpp", "HelloServiceTest.cpp",
                            "README.md"));
}

TEST_F(New, AddsAListenerForEachSourceWhetherAskedTogetherOrOneByOne) {
    EXPECT_EQ(Hearthctl({"new", "a", "--listen", "keys,pes"}).status, 0);
    EXPECT_EQ(Hearthctl({"new", "b", "--listen", "pes", "--listen=keys", "--listen", "pes"}).status,
              0);
    EXPECT_EQ(Hearthctl({"new", "--listen", "pes", "c", "--listen", "keys"}).status, 0);
    for (const char* made : {"a", "b", "c"}) {
        EXPECT_THAT(FilesIn(made), Contains("KeysListener.h")) << made;
        EXPECT_THAT(FilesIn(made), Contains("PesListener.h")) << made;
        EXPECT_THAT(FilesIn(made), Not(Contains("CaptionsListener.h"))) << made;
    }
}

TEST_F(New, RefusesANameThatNoServiceCanHave) {
    for (const char* name : {"Hello", "../hello", "my-clock", "install", ""}) {
        const Result result = Hearthctl({"new", name});
        EXPECT_EQ(result.status, 2) << name;
        EXPECT_THAT(result.errors, HasSubstr("' can't be a service's name: ")) << name;
    }
    EXPECT_THAT(FilesIn("."), IsEmpty());
}

TEST_F(New, LeavesAloneWhatExists) {
    fs::create_directory("folder");
    std::ofstream("file") << "mine";
    fs::create_symlink("nowhere", "link");
    for (const std::string name : {"folder", "file", "link"}) {
        const Result result = Hearthctl({"new", name});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "hearthctl: " + name + " exists\n");
    }
    EXPECT_THAT(FilesIn("."), ElementsAre("file", "folder", "link"));
    EXPECT_THAT(FilesIn("folder"), IsEmpty());
    EXPECT_EQ(ReadFile("file"), "mine");
}

TEST_F(New, NamesTheSourcesWhereOneIsUnknown) {
    const Result result = Hearthctl({"new", "hello", "--listen", "keys,news"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors,
              "hearthctl: there is nothing called 'news' to listen to; there are captions, config, "
              "keys, pes, programs, sections, signals\n");
    EXPECT_THAT(FilesIn("."), IsEmpty());
}

TEST_F(New, SaysWhichSourcesThereAre) {
    const Result result = Hearthctl({"new", "--help"});
    const std::string help = std::regex_replace(result.output, std::regex("\\s+"), " ");
    EXPECT_THAT(help, HasSubstr("captions, config, keys, pes, programs, sections or signals"));
}

TEST_F(New, LeavesNothingBehindWhereItCannotWrite) {
    // 1024 bytes a file: some of them fit.
    Program bash(
        {"bash", "-c",
         std::string("trap '' XFSZ; ulimit -f 1; exec ") + HEARTHCTL + " new hello --listen keys"});
    EXPECT_EQ(bash.Wait(), 1);
    EXPECT_EQ(bash.Errors(), "hearthctl: cannot make hello: File too large\n");
    EXPECT_THAT(FilesIn("."), IsEmpty());
}

TEST_F(New, SaysWhereTemplatesAreMissing) {
    fs::create_directories("usr/bin");
    fs::copy(HEARTHCTL, "usr/bin/hearthctl");
    Program moved({"env", "LD_LIBRARY_PATH=" HEARTHD_STAGE "/usr/apps/org.norvane.hearthd/lib",
                   "usr/bin/hearthctl", "new", "hello"});
    EXPECT_EQ(moved.Wait(), 1);
    EXPECT_THAT(moved.Errors(), HasSubstr("cannot read the template "));
    EXPECT_THAT(moved.Errors(), HasSubstr("/share/hearthd/templates"));
    EXPECT_THAT(FilesIn("."), ElementsAre("usr"));
}

} // namespace

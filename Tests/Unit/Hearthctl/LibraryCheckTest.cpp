// SPDX-License-Identifier: Apache-2.0

#include "LibraryCheck.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ElfSymbols.h"
#include "TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using hearthctl::LibraryCheck;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

// A root that holds the installed daemon, and libraries of the test's own.
class CheckedLibrary : public testing::Test {
protected:
    CheckedLibrary() {
        fs::create_directory(m_folder.Path() / "usr");
        fs::create_directory_symlink(HEARTHD_STAGE "/usr/apps", m_folder.Path() / "usr/apps");
    }

    fs::path Root() const { return m_folder.Path(); }
    // Puts a file there, and gives the path that a manifest would have.
    std::string Put(const fs::path& file) const {
        fs::copy_file(file, Root() / file.filename());
        return "/" + file.filename().string();
    }
    std::string Library(const std::string& name) const {
        return Put(CHECKED_LIBRARIES "/libchecked_" + name + ".so");
    }
    void RemoveDaemon() const { fs::remove(Root() / "usr/apps"); }

    // "error|warning: TEXT" without the beginning, which names the library.
    Lines Found(const std::string& path) const {
        const LibraryCheck check(Root());
        EXPECT_EQ(check.Obstacle(), "");
        return Found(check, path);
    }
    Lines Found(const LibraryCheck& check, const std::string& path) const {
        const std::string beginning = "the library " + Root().string() + path + ' ';
        Lines lines;
        for (const LibraryCheck::Fault& fault : check.Check(path)) {
            EXPECT_TRUE(fault.text.starts_with(beginning)) << fault.text;
            lines.push_back((fault.isFatal ? "error: " : "warning: ") +
                            fault.text.substr(beginning.size()));
        }
        return lines;
    }

private:
    const TemporaryFolder m_folder;
};

TEST_F(CheckedLibrary, IsGoodWithTheDaemonsNames) {
    EXPECT_THAT(Found("/usr/apps/org.norvane.hearthd/lib/services/libecho.so"), IsEmpty());
}

TEST_F(CheckedLibrary, MustBeThere) {
    EXPECT_THAT(Found("/none.so"),
                ElementsAre("error: can't be opened: No such file or directory"));
}

TEST_F(CheckedLibrary, MustBeASharedLibrary) {
    std::ofstream(Root() / "text.so") << "text";
    EXPECT_THAT(Found("/text.so"), ElementsAre("error: is no ELF file"));
    fs::create_directory(Root() / "folder.so");
    EXPECT_THAT(Found("/folder.so"), ElementsAre("error: is no ELF file"));
}

TEST_F(CheckedLibrary, MustBeWhole) {
    const std::string path = Library("plain");
    fs::resize_file(Root().string() + path, fs::file_size(Root().string() + path) / 2);
    EXPECT_THAT(Found(path), ElementsAre("error: is cut off"));
    fs::resize_file(Root().string() + path, 20);
    EXPECT_THAT(Found(path), ElementsAre("error: is no ELF file"));
}

TEST_F(CheckedLibrary, MustBeForTheDaemonsMachine) {
    const std::string path = Library("plain");
    std::fstream file(Root().string() + path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(18) << '\x15' << '\0'; // the machine, in the ELF header
    file.close();
    const std::string text = "error: is for another kind of machine than the daemon";
    EXPECT_THAT(Found(path), ElementsAre(text));
    RemoveDaemon();
    EXPECT_THAT(Found(LibraryCheck(Root()), path), ElementsAre(text));
}

TEST_F(CheckedLibrary, MustExportBothVariables) {
    EXPECT_THAT(Found(Library("without_proxy")),
                ElementsAre("error: exports no variable g_service_proxy: the daemon ends when it "
                            "loads that"));
    EXPECT_THAT(Found(Library("functions")),
                ElementsAre("error: exports g_service, which is no variable: the daemon ends when "
                            "it loads that",
                            "error: exports g_service_proxy, which is no variable: the daemon ends "
                            "when it loads that"));
}

TEST_F(CheckedLibrary, MustHaveNoNamesThatNobodyKnows) {
    EXPECT_THAT(Found(Library("unresolved")),
                ElementsAre(AnyOf("error: has names that neither it nor the daemon knows: i, "
                                  "nobody::Has(int)",
                                  "error: has names that neither it nor the daemon knows: "
                                  "nobody::Has(int), i")));
}

TEST_F(CheckedLibrary, MustFindWhatItNeeds) {
    const std::string path = Library("needs_plain");
    EXPECT_THAT(Found(path), ElementsAre("error: needs what isn't found: libchecked_plain.so"));
    Library("plain");
    EXPECT_THAT(Found(path), IsEmpty()) << "it is looked for beside the one that needs it";
}

TEST_F(CheckedLibrary, ShouldHaveNoUniqueSymbols) {
    const std::string path = Library("unique");
    const auto symbols = DynamicSymbols(Root().string() + path);
    if (std::none_of(symbols.begin(), symbols.end(), std::mem_fn(&ElfSymbol::isUnique))) {
        GTEST_SKIP() << "this compiler makes no unique symbols";
    }
    EXPECT_THAT(Found(path),
                ElementsAre("warning: has unique symbols, which keep it in the process when "
                            "it was unloaded (-fno-gnu-unique makes none): "
                            "Shared<int>::value"));
}

TEST_F(CheckedLibrary, DoesntRun) {
    const fs::path file = Root() / "it ran";
    setenv("CONSTRUCTOR_FILE", file.c_str(), 1);
    EXPECT_THAT(Found(Library("constructor")), IsEmpty());
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(CheckedLibrary, IsLookedAtWithoutADaemonToo) {
    const std::string unresolved = Library("unresolved");
    const std::string missing = Library("without_proxy");
    RemoveDaemon();
    const LibraryCheck check(Root());
    EXPECT_THAT(check.Obstacle(), HasSubstr("/usr/apps/org.norvane.hearthd/bin/hearthd can't be "
                                            "opened: No such file or directory"));
    EXPECT_THAT(Found(check, unresolved), IsEmpty()) << "nobody knows";
    EXPECT_EQ(Found(check, missing).size(), 1U);
}

TEST_F(CheckedLibrary, IsTriedByNoLoaderOfAForeignDaemonsChoice) {
    RemoveDaemon();
    const fs::path daemon = Root() / "usr/apps/org.norvane.hearthd/bin/hearthd";
    fs::create_directories(daemon.parent_path());
    fs::copy_file(CHECKED_LIBRARIES "/libchecked_other_loader.so", daemon);
    EXPECT_EQ(LibraryCheck(Root()).Obstacle(),
              daemon.string() + " isn't loaded by the loader of this machine's programs");
}

} // namespace

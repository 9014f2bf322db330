// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "KeyNames.h"
#include "Program.h"
#include "ReadFile.h"
#include "TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

// The output of a program that Xlib's names come from, with XKEYSYMDB unset where `file` is empty.
std::string Ask(const std::string& command, const std::string& input, const std::string& file) {
    const std::string setting = file.empty() ? "--unset=XKEYSYMDB" : "XKEYSYMDB=" + file;
    Program program({"env", setting, UTILX_KEY_NAMES, command}, Program::At::FILES, input);
    EXPECT_EQ(program.Wait(), 0);
    return program.Output();
}

// What the file says: keysyms by name.
std::map<std::string, std::string> Entries() {
    std::map<std::string, std::string> entries;
    std::istringstream lines(ReadFile(UTILX_KEYSYM_FILE));
    const std::regex entry("([A-Za-z0-9]+)\t:([0-9A-F]{8})");
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, entry)) {
            EXPECT_TRUE(entries.emplace(parts[1], parts[2]).second) << line;
        } else {
            EXPECT_TRUE(line.starts_with("!")) << line;
        }
    }
    return entries;
}

// What a program finds in XKEYSYMDB that has loaded a copy of the library.
std::string Load(const fs::path& library, const std::string& setting) {
    Program program({"env", setting, UTILX_KEY_NAMES, "load", library});
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
    std::string file = program.Output();
    file.erase(file.find_last_not_of('\n') + 1);
    return file;
}

// A copy of the library in a folder lib.
class KeysymFileOfALibrary : public testing::Test {
protected:
    KeysymFileOfALibrary() {
        fs::create_directories(m_folder.Path() / "lib");
        fs::create_directories(m_folder.Path() / "etc");
        m_library = m_folder.Path() / "lib" / "libUtilX.so.0";
        fs::copy_file(fs::canonical(UTILX_LIBRARY), m_library);
    }
    fs::path AddFile() const {
        fs::path file = m_folder.Path() / "etc" / "XKeysymDB";
        fs::copy_file(UTILX_KEYSYM_FILE, file);
        return file;
    }

    TemporaryFolder m_folder;
    fs::path m_library;
};

// The keys that programs of this tree ask for, each once.
std::set<std::string> RemoteKeys() {
    return {marrow::evt::KEY_NAMES.begin(), marrow::evt::KEY_NAMES.end()};
}

} // namespace

TEST(KeysymFile, MakesEveryNameKnown) {
    std::string names;
    for (const std::string& name : RemoteKeys()) {
        names += name + '\n';
    }
    std::istringstream answers(Ask("names", names, UTILX_KEYSYM_FILE));
    std::set<std::string> keysyms;
    for (const std::string& name : RemoteKeys()) {
        std::string asked;
        std::string keysym;
        std::string told;
        answers >> asked >> keysym >> told;
        EXPECT_EQ(asked, name);
        EXPECT_NE(keysym, "0") << name;
        EXPECT_EQ(told, name);
        EXPECT_TRUE(keysyms.insert(keysym).second) << name << " has the keysym of another name";
    }
    EXPECT_EQ(keysyms.size(), 131U);
}

TEST(KeysymFile, HasNoNameAndNoKeysymThatXlibHasItself) {
    std::string names;
    std::string keysyms;
    std::string unknownNames;
    std::string unknownKeysyms;
    for (auto [name, keysym] : Entries()) {
        names += name + '\n';
        unknownNames += name + " 0 -\n";
        keysyms += keysym + '\n';
        for (char& digit : keysym) {
            digit = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
        }
        unknownKeysyms += keysym + " -\n";
    }
    ASSERT_NE(names, "");
    EXPECT_EQ(Ask("names", names, ""), unknownNames);
    EXPECT_EQ(Ask("keysyms", keysyms, ""), unknownKeysyms);
}

TEST(KeysymFile, HasOnlyNamesOfTheRemoteControl) {
    const std::set<std::string> known = RemoteKeys();
    for (const auto& [name, keysym] : Entries()) {
        EXPECT_TRUE(known.contains(name)) << name;
    }
}

TEST_F(KeysymFileOfALibrary, IsNamedWhenTheLibraryIsLoaded) {
    EXPECT_EQ(Load(m_library, "--unset=XKEYSYMDB"), AddFile().string());
}

TEST_F(KeysymFileOfALibrary, IsFoundThroughALinkToTheLibrary) {
    const fs::path link = m_folder.Path() / "libUtilX.so";
    fs::create_symlink(m_library, link);
    EXPECT_EQ(Load(link, "--unset=XKEYSYMDB"), AddFile().string());
}

TEST_F(KeysymFileOfALibrary, IsNotNamedWhereAnotherFileIs) {
    AddFile();
    EXPECT_EQ(Load(m_library, "XKEYSYMDB=/somewhere/else"), "/somewhere/else");
    EXPECT_EQ(Load(m_library, "XKEYSYMDB="), "");
}

TEST_F(KeysymFileOfALibrary, IsNotNamedWhereItIsMissing) {
    EXPECT_EQ(Load(m_library, "--unset=XKEYSYMDB"), "unset");
}

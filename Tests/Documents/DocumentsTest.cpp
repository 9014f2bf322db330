// SPDX-License-Identifier: Apache-2.0

// What the documents show as commands is done, from the first to the last of each document, beside
// an installed daemon with the examples, on a bus of its own; and writes what they say.

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sstream>
#include <sys/stat.h>

#include "ConsoleBlocks.h"
#include "PrivateBus.h"
#include "Program.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::Not;

const fs::path APP = "/usr/apps/org.norvane.hearthd";
const fs::path STAGE = HEARTHD_STAGE;

std::vector<std::string> Lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(ConsoleBlocks, SayWhatIsWritten) {
    EXPECT_TRUE(IsAsSaid({}, {"anything"}));
    EXPECT_TRUE(IsAsSaid({"echo   started"}, {"echo            started"}));
    EXPECT_FALSE(IsAsSaid({"echo started"}, {"echo started", "clock started"}));
    EXPECT_TRUE(IsAsSaid({"...", "echo started", "..."}, {"clock started", "echo started"}));
    EXPECT_TRUE(IsAsSaid({"after ... ms"}, {"after 1.5 ms"}));
    EXPECT_FALSE(IsAsSaid({"after ... ms"}, {"after 1.5 s"}));
    EXPECT_FALSE(IsAsSaid({"a.b(c)"}, {"aXb(c)"}));
    EXPECT_FALSE(IsAsSaid({"something"}, {}));
}

class Documents : public testing::TestWithParam<std::string> {
protected:
    Documents() {
        fs::copy(STAGE / "usr/apps", "/usr/apps",
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks |
                     fs::copy_options::overwrite_existing);
        fs::create_directory(APP / "api");
        if (mkfifo((APP / "api/control").c_str(), 0600) != 0 && errno != EEXIST) {
            ADD_FAILURE() << "there is no pipe for the debug shell";
        }
        const std::string path = std::getenv("PATH");
        setenv("PATH", (STAGE / "usr/bin:").string().append(path).c_str(), 1);
        setenv("HOME", m_home.Path().c_str(), 1);
        fs::create_directory_symlink(fs::path(HEARTHD_DOCUMENTS) / "Examples",
                                     m_home.Path() / "Examples");
        setenv("VCONF_DATABASE", (m_home.Path() / "vconf.db").c_str(), 1);
        m_daemon = std::make_unique<Program>(std::vector<std::string>{APP / "bin/hearthd"});
    }

    bool HasStarted() {
        return WaitUntil(
            [&] { return m_daemon->Errors().find("> ~Worker[Init]") != std::string::npos; });
    }

    void Run(const ConsoleCommand& command) {
        SCOPED_TRACE(GetParam() + ":" + std::to_string(command.line) + ": " + command.text);
        Program shell({"bash", "-c", "cd && " + command.text});
        EXPECT_EQ(shell.Wait(), 0) << shell.Errors();
        const std::vector<std::string> written = Lines(shell.Output());
        EXPECT_TRUE(IsAsSaid(command.output, written))
            << "said: " << testing::PrintToString(command.output)
            << "\nwritten: " << testing::PrintToString(written);
    }

    void TearDown() override {
        if (HasFailure()) {
            std::cerr << m_daemon->Errors();
        }
    }

private:
    PrivateBus m_bus;
    TemporaryFolder m_home;
    std::unique_ptr<Program> m_daemon;
};

TEST_P(Documents, ShowCommandsThatDoWhatIsSaid) {
    const auto commands = ReadConsoleBlocks(fs::path(HEARTHD_DOCUMENTS) / GetParam());
    ASSERT_THAT(commands, Not(IsEmpty()));
    ASSERT_TRUE(HasStarted());
    for (const ConsoleCommand& command : commands) {
        Run(command);
    }
}

std::vector<std::string> WithCommands() {
    std::vector<std::string> names;
    for (const char* folder : {".", "Docs"}) {
        for (const auto& entry : fs::directory_iterator(fs::path(HEARTHD_DOCUMENTS) / folder)) {
            if (entry.path().extension() == ".md" && !ReadConsoleBlocks(entry.path()).empty()) {
                names.push_back(entry.path().lexically_relative(HEARTHD_DOCUMENTS).string());
            }
        }
    }
    return names;
}

std::string NameOf(const testing::TestParamInfo<std::string>& document) {
    std::string name = fs::path(document.param).stem().string();
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(The, Documents, testing::ValuesIn(WithCommands()), NameOf);

} // namespace

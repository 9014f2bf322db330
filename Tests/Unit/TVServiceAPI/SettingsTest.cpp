// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

#include "Dlog.h"
#include "LogCapture.h"
#include "SettingsFile.h"
#include "TemporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using tvservice::Settings;
using tvservice::SettingsFile;
using tvservice::SourceSettings;

TEST(TVSettings, AreReadWhole) {
    const Settings settings = Settings::Parse("# a comment\n"
                                              "[source]\n"
                                              "address = /tmp/a b.ts\n"
                                              "pace = clock\n"
                                              "loop = no\n"
                                              "[screen 1 0]\n"
                                              "program = 0x101\n"
                                              "[screen 2 1]\n"
                                              "pes = 0x100; 257,3 0X1FFF\n");
    EXPECT_EQ(settings.source.address, "/tmp/a b.ts");
    EXPECT_EQ(settings.source.pace, SourceSettings::Pace::Clock);
    EXPECT_FALSE(settings.source.loop);
    ASSERT_EQ(settings.screens.size(), 2U);
    EXPECT_EQ(settings.screens.at({PROFILE_MAIN, 0}).program, 0x101);
    EXPECT_EQ(settings.screens.at({PROFILE_PIP, 1}).program, 0);
    EXPECT_THAT(settings.screens.at({PROFILE_PIP, 1}).pes, ElementsAre(0x100, 0x101, 3, 0x1FFF));
}

TEST(TVSettings, HaveTheMainScreenAndNoSourceByThemselves) {
    const Settings settings = Settings::Parse("");
    EXPECT_EQ(settings.source.address, "");
    EXPECT_EQ(settings.source.pace, SourceSettings::Pace::ByKind);
    EXPECT_TRUE(settings.source.loop);
    EXPECT_EQ(settings.screens.size(), 1U);
    EXPECT_EQ(settings.screens.count({PROFILE_MAIN, 0}), 1U);
    EXPECT_EQ(settings, Settings());
}

struct Wrong {
    const char* text;
    const char* words;
};
class WrongTVSettings : public testing::TestWithParam<Wrong> {};

TEST_P(WrongTVSettings, AreToldWithTheirPlace) {
    try {
        Settings::Parse(GetParam().text);
        FAIL() << "it has been taken";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam().words));
    }
}

INSTANTIATE_TEST_SUITE_P(
    , WrongTVSettings,
    testing::Values(
        Wrong{"address = x\n", "group"},
        Wrong{"[source]\npace = slow\n", "[source] pace is 'slow', and is to be clock or fast"},
        Wrong{"[source]\nloop = maybe\n", "[source] loop is 'maybe', and is to be yes or no"},
        Wrong{"[source]\nspeed = 1\n", "[source] has an unknown key: speed"},
        Wrong{"[source]\naddress = /media/f\xFCr\n", "[source] address isn't UTF-8"},
        Wrong{"[screen 1 0]\nprogram = 65536\n", "[screen 1 0] program is '65536'"},
        Wrong{"[screen 1 0]\nprogram = 1x\n", "a number from 0 to 65535"},
        Wrong{"[screen 1 0]\nprogram = 4294967296\n", "[screen 1 0] program is '4294967296'"},
        Wrong{"[screen 1 0]\npes = 1 0x2000\n", "[screen 1 0] pes is '0x2000'"},
        Wrong{"[screen 1 0]\npes = 0x\n", "[screen 1 0] pes is '0x'"},
        Wrong{"[screen 1 0]\nprograms = 1\n", "unknown key: programs"},
        Wrong{"[screen 4 0]\n", "[screen 4 0] is no group"},
        Wrong{"[screen 1]\n", "[screen 1] is no group"}, Wrong{"[screen 1 0 x]\n", "is no group"},
        Wrong{"[screen 1 65536]\n", "is no group"}, Wrong{"[sources]\n", "[sources] is no group"}));

TEST(TVSettingsFile, IsWhereTheEnvironmentSaysOrInEtc) {
    setenv("TVSERVICE_SETTINGS", "/some/where.conf", 1);
    EXPECT_EQ(SettingsFile::DefaultPath(), "/some/where.conf");
    setenv("TVSERVICE_SETTINGS", "", 1);
    EXPECT_EQ(SettingsFile::DefaultPath(), "/etc/tvservice.conf");
    unsetenv("TVSERVICE_SETTINGS");
    EXPECT_EQ(SettingsFile::DefaultPath(), "/etc/tvservice.conf");
}

TEST(TVSettingsFile, ThatCannotBeReadChangesNothing) {
    const TemporaryFolder folder;
    SettingsFile file(folder.Path());
    EXPECT_FALSE(file.Poll(SettingsFile::Clock::now()));
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, folder.Path().string() +
                                               ": Is a directory; the settings stay as they are"),
              1);
}

} // namespace

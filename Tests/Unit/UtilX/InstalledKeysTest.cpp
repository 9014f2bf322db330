// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "Program.h"
#include "ReadFile.h"

namespace {

const std::string INSTALLED = HEARTHD_STAGE "/usr/apps/org.norvane.hearthd";
const std::string KEYS = UTILX_KEYS;

} // namespace

TEST(InstalledKeys, LieWhereTheInstalledLibraryFindsThem) {
    Program program(
        {"env", "--unset=XKEYSYMDB", UTILX_KEY_NAMES, "load", INSTALLED + "/lib/libUtilX.so.0"});
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
    EXPECT_EQ(program.Output(), INSTALLED + "/etc/XKeysymDB\n");
    EXPECT_EQ(ReadFile(INSTALLED + "/etc/XKeysymDB"), ReadFile(KEYS + "/XKeysymDB"));
    EXPECT_NE(ReadFile(KEYS + "/XKeysymDB"), "");
}

TEST(InstalledKeys, HaveTheRemoteControlsMapBesideThem) {
    EXPECT_EQ(ReadFile(INSTALLED + "/etc/remote.xmodmap"), ReadFile(KEYS + "/remote.xmodmap"));
    EXPECT_NE(ReadFile(KEYS + "/remote.xmodmap"), "");
}

// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "KeyWindow.h"
#include "Program.h"
#include "ReadFile.h"
#include "UtilX.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

namespace {

// Ahead of Xlib's first look for a name.
const bool IS_NAMED = setenv("XKEYSYMDB", UTILX_KEYSYM_FILE, 1) == 0;

// Names by key code: those in force, or those that are offered in comments.
std::map<int, std::string> Lines(const std::string& beginning) {
    std::map<int, std::string> lines;
    std::istringstream file(ReadFile(UTILX_REMOTE_MAP));
    const std::regex form(beginning + " +([0-9]+) = (\\S+)");
    for (std::string line; std::getline(file, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, form)) {
            EXPECT_TRUE(lines.emplace(std::stoi(parts[1]), parts[2]).second) << line;
        }
    }
    EXPECT_FALSE(lines.empty());
    return lines;
}

bool IsFree(Display* display, int code) {
    int columns = 0;
    KeySym* keysyms = XGetKeyboardMapping(display, static_cast<KeyCode>(code), 1, &columns);
    bool isFree = true;
    for (int i = 0; i < columns; ++i) {
        isFree &= keysyms[i] == NoSymbol;
    }
    XFree(keysyms);
    return isFree;
}

class RemoteMap : public testing::Test {
protected:
    static void Load() {
        Program program({"xmodmap", UTILX_REMOTE_MAP});
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(program.Output() + program.Errors(), "");
    }

    VirtualDisplay m_server;
};

} // namespace

TEST_F(RemoteMap, UsesFreeKeyCodesAndKnownNames) {
    ASSERT_TRUE(IS_NAMED);
    const KeyWindow window;
    for (const auto& [code, name] : Lines("keycode")) {
        EXPECT_TRUE(IsFree(window.Connection(), code)) << code;
        EXPECT_NE(XStringToKeysym(name.c_str()), static_cast<KeySym>(NoSymbol)) << name;
    }
}

TEST_F(RemoteMap, OffersKnownNamesThatItHasNotInForce) {
    std::set<std::string> names;
    for (const auto& [code, name] : Lines("keycode")) {
        EXPECT_TRUE(names.insert(name).second) << name;
    }
    for (const auto& [code, name] : Lines("!keycode")) {
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_NE(XStringToKeysym(name.c_str()), static_cast<KeySym>(NoSymbol)) << name;
    }
}

TEST_F(RemoteMap, BringsEachOfItsKeysToWhoHasGrabbedIt) {
    Load();
    KeyWindow window;
    for (const auto& [code, name] : Lines("keycode")) {
        ASSERT_EQ(window.Grab(name.c_str()), 0) << name;
        m_server.Tap(static_cast<std::uint8_t>(code));
        EXPECT_EQ(window.Next(2), Tapped(code)) << name;
    }
}

TEST_F(RemoteMap, CanBeLoadedAfterTheGrab) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("XF86Hdmi"), 0);
    Load();
    EXPECT_TRUE(WaitUntil([&] {
        Program press({"xdotool", "key", "XF86Hdmi"});
        EXPECT_EQ(press.Wait(), 0) << press.Errors();
        return window.Next(std::chrono::milliseconds(20)).has_value();
    }));
}

// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Dlog.h"
#include "KeyWindow.h"
#include "LogCapture.h"
#include "OtherClient.h"
#include "Program.h"
#include "UtilX.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

namespace {

constexpr std::uint8_t FREE = 93; // a code that has no keysym
constexpr std::uint8_t ONE = 10;
constexpr std::uint8_t TWO = 11;

class KeyMap : public testing::Test {
protected:
    KeyMap() { LogCapture::Clear(); }

    static void Change(const std::vector<std::string>& lines) {
        std::vector<std::string> words = {"xmodmap"};
        for (const std::string& line : lines) {
            words.insert(words.end(), {"-e", line});
        }
        Program program(words);
        ASSERT_EQ(program.Wait(), 0) << program.Errors();
    }

    // Taps the key until the window is told of it, and takes what came of it away.
    void TapUntilToldTo(KeyWindow& window, std::uint8_t code) const {
        ASSERT_EQ(window.Grab("Return"), 0);
        ASSERT_TRUE(WaitUntil([&] {
            m_server.Tap(code);
            const auto message = window.Next(std::chrono::milliseconds(20));
            return message && message->code == code;
        })) << "key "
            << int{code};
        m_server.Tap("Return");
        window.UpTo(m_server.KeyCode("Return"));
        ASSERT_EQ(window.Ungrab("Return"), 0);
    }

    // "1" is held down where it is, and then is another key; there is `instead`. The second window
    // tells when the grabs have followed.
    void MoveTheNameOfAHeldKey(KeyWindow& window, KeyWindow& last,
                               const std::string& instead) const {
        ASSERT_EQ(window.Grab("1"), 0);
        ASSERT_EQ(last.Grab("XF86Red"), 0);
        m_server.Press(ONE);
        EXPECT_EQ(window.Next(), (KeyMessage{ONE, DOWN}));
        Change({"keycode 10 = " + instead, "keycode 93 = 1", "keycode 97 = XF86Red"});
        TapUntilToldTo(last, 97);
    }
    void ExpectTheNameBackWhereItWas(KeyWindow& window, KeyWindow& last) const {
        Change({"keycode 10 = 1", "keycode 93 = XF86Red"});
        TapUntilToldTo(last, FREE);
        m_server.Tap(ONE);
        EXPECT_EQ(window.Next(2), Tapped(ONE));
    }

    const VirtualDisplay m_server;
    const OtherClient m_other;
};

} // namespace

TEST_F(KeyMap, AGrabTakesEffectWhenAKeyGetsTheName) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("XF86Red"), 0);
    Change({"keycode 93 = XF86Red"});
    TapUntilToldTo(window, FREE);
    m_server.Tap(FREE);
    EXPECT_EQ(window.Next(2), Tapped(FREE));
}

TEST_F(KeyMap, AGrabFollowsTheNameToAnotherKey) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("1"), 0);
    Change({"keycode 10 = NoSymbol", "keycode 93 = 1"});
    TapUntilToldTo(window, FREE);
    EXPECT_TRUE(m_other.Grab(ONE));
    m_server.Tap(ONE);
    m_server.Tap(FREE);
    EXPECT_EQ(window.Next(2), Tapped(FREE));
}

TEST_F(KeyMap, TwoGrabbedKeysCanChangePlaces) {
    KeyWindow one;
    KeyWindow two;
    KeyWindow last;
    ASSERT_EQ(one.Grab("1"), 0);
    ASSERT_EQ(two.Grab("2"), 0);
    ASSERT_EQ(last.Grab("XF86Red"), 0);
    Change({"keycode 10 = 2", "keycode 11 = 1", "keycode 93 = XF86Red"});
    TapUntilToldTo(last, FREE);
    m_server.Tap(ONE);
    EXPECT_EQ(two.Next(2), Tapped(ONE));
    m_server.Tap(TWO);
    EXPECT_EQ(one.Next(2), Tapped(TWO));
}

TEST_F(KeyMap, AGrabFollowsAnotherLayout) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("z"), 0);
    m_server.Tap(52);
    EXPECT_EQ(window.Next(2), Tapped(52));
    ASSERT_EQ(Program({"setxkbmap", "-layout", "de"}).Wait(), 0);
    TapUntilToldTo(window, 29);
    m_server.Tap(52);
    m_server.Tap(29);
    EXPECT_EQ(window.Next(2), Tapped(29));
}

TEST_F(KeyMap, AnEndedGrabDoesNotComeBackWithTheMap) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("XF86Red"), 0);
    ASSERT_EQ(window.Grab("XF86Green"), 0);
    ASSERT_EQ(window.Ungrab("XF86Red"), 0);
    Change({"keycode 93 = XF86Red", "keycode 97 = XF86Green"});
    TapUntilToldTo(window, 97);
    EXPECT_TRUE(m_other.Grab(FREE));
}

TEST_F(KeyMap, AKeyThatAnotherClientHasGrabbedIsToldWhenTheMapBringsIt) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("XF86Red"), 0);
    ASSERT_TRUE(m_other.Grab(FREE));
    Change({"keycode 93 = XF86Red"});
    EXPECT_TRUE(LogCapture::WaitFor(
        DLOG_ERROR, "another program has grabbed the key XF86Red (code 93 of display " +
                        m_server.Name() + ".0)"));
    const KeyWindow second;
    EXPECT_EQ(second.Grab("XF86Red"), -1);
    EXPECT_EQ(second.Ungrab("XF86Red"), -1);
    EXPECT_EQ(window.Grab("XF86Red"), -1);
    // The grab of before stands, and takes effect when the map changes again.
    m_other.Ungrab(FREE);
    Change({"keycode 97 = XF86Green"});
    TapUntilToldTo(window, FREE);
    EXPECT_EQ(window.Ungrab("XF86Red"), 0);
}

// A message that tells of no key at all would be the last that the key proxy reads.
TEST_F(KeyMap, AHeldKeyThatHasNoNameAnyMoreIsNotToldOf) {
    KeyWindow window;
    KeyWindow last;
    ASSERT_NO_FATAL_FAILURE(MoveTheNameOfAHeldKey(window, last, "NoSymbol"));
    m_server.Release(ONE);
    m_server.Tap(FREE);
    EXPECT_EQ(window.Next(2), Tapped(FREE));
    // Nor is it held any more, when it comes back.
    ExpectTheNameBackWhereItWas(window, last);
}

TEST_F(KeyMap, AHeldKeyIsToldAsReleasedWhereItsNameHasMoved) {
    KeyWindow window;
    KeyWindow last;
    ASSERT_NO_FATAL_FAILURE(MoveTheNameOfAHeldKey(window, last, "9"));
    m_server.Release(ONE);
    EXPECT_EQ(window.Next(), (KeyMessage{ONE, UP}));
    m_server.Tap(FREE);
    EXPECT_EQ(window.Next(2), Tapped(FREE));
    // And where the name comes back, the next press is no repetition of that one.
    ExpectTheNameBackWhereItWas(window, last);
}

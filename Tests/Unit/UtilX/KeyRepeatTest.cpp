// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <map>
#include <utility>
#include <vector>

#include "KeyWindow.h"
#include "OtherClient.h"
#include "Program.h"
#include "UtilX.h"
#include "VirtualDisplay.h"

namespace {

constexpr int REPEATED = UTILX_EXCLUSIVE_GRAB | UTILX_WITH_REPEATS;

// A key repeats after a tenth of a second, fifty times a second.
class KeyRepeat : public testing::Test {
protected:
    KeyRepeat() { EXPECT_EQ(Program({"xset", "r", "rate", "100", "50"}).Wait(), 0); }

    // Holds the key down until the window has been told of `count` presses, and nothing else.
    void Hold(std::uint8_t code, KeyWindow& repeated, std::size_t count) const {
        m_server.Press(code);
        EXPECT_EQ(repeated.Next(count), std::vector(count, KeyMessage{code, DOWN}));
        m_server.Release(code);
    }

    VirtualDisplay m_server;
};

} // namespace

TEST_F(KeyRepeat, ComesAsFurtherPressesWhereWanted) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("1", REPEATED), 0);
    const auto code = m_server.KeyCode("1");
    Hold(code, window, 5);
    const auto rest = window.UpTo(code);
    EXPECT_EQ(std::count(rest.begin(), rest.end(), KeyMessage{code, DOWN}) + 1,
              static_cast<long>(rest.size())); // no releases in between
    m_server.Tap(code);
    EXPECT_EQ(window.Next(), (KeyMessage{code, DOWN}));
    window.UpTo(code); // a slow machine holds it down for a while
}

TEST_F(KeyRepeat, IsOnePressAndOneReleaseOtherwise) {
    KeyWindow once;
    KeyWindow repeated;
    ASSERT_EQ(once.Grab("1"), 0);
    ASSERT_EQ(repeated.Grab("1", REPEATED), 0);
    const auto code = m_server.KeyCode("1");
    Hold(code, repeated, 5);
    EXPECT_EQ(once.UpTo(code), Tapped(code));
    m_server.Tap(code);
    EXPECT_EQ(once.Next(2), Tapped(code));
}

TEST_F(KeyRepeat, FollowsTheModeOfTheLastGrab) {
    KeyWindow window;
    KeyWindow repeated;
    const auto code = m_server.KeyCode("1");
    ASSERT_EQ(repeated.Grab("1", REPEATED), 0);
    ASSERT_EQ(window.Grab("1", REPEATED), 0);
    ASSERT_EQ(window.Grab("1"), 0);
    Hold(code, repeated, 5);
    EXPECT_EQ(window.UpTo(code), Tapped(code));
    repeated.UpTo(code);

    ASSERT_EQ(window.Grab("1", REPEATED), 0);
    Hold(code, window, 5);
    window.UpTo(code);
}

TEST_F(KeyRepeat, OfAKeyThatIsHeldDownWhileAnotherOneIsGrabbedGoesOn) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("1", REPEATED), 0);
    const auto code = m_server.KeyCode("1");
    m_server.Press(code);
    EXPECT_EQ(window.Next(2), std::vector(2, KeyMessage{code, DOWN}));
    ASSERT_EQ(window.Grab("2"), 0);
    EXPECT_EQ(window.Next(3), std::vector(3, KeyMessage{code, DOWN}));
    m_server.Release(code);
    window.UpTo(code);
}

// The rate stays the slow one of the server here: nothing repeats.

class HeldKey : public testing::Test {
protected:
    VirtualDisplay m_server;
};

TEST_F(HeldKey, IsUpAgainForTheNextGrabWhereItWasReleasedAfterTheLastOne) {
    KeyWindow window;
    const auto code = m_server.KeyCode("1");
    ASSERT_EQ(window.Grab("1"), 0);
    m_server.Press(code);
    EXPECT_EQ(window.Next(), (KeyMessage{code, DOWN}));
    ASSERT_EQ(window.Ungrab("1"), 0);
    m_server.Release(code);
    ASSERT_EQ(window.Grab("1"), 0);
    m_server.Tap(code);
    EXPECT_EQ(window.Next(2), Tapped(code));
}

TEST_F(HeldKey, IsToldAsReleasedOnlyToWhomItWasToldAsPressed) {
    KeyWindow early;
    KeyWindow late;
    const auto code = m_server.KeyCode("1");
    ASSERT_EQ(early.Grab("1"), 0);
    m_server.Press(code);
    EXPECT_EQ(early.Next(), (KeyMessage{code, DOWN}));
    ASSERT_EQ(late.Grab("1"), 0);
    m_server.Release(code);
    EXPECT_EQ(early.Next(), (KeyMessage{code, UP}));
    m_server.Tap(code);
    EXPECT_EQ(late.Next(2), Tapped(code));
    EXPECT_EQ(early.Next(2), Tapped(code));
}

TEST_F(HeldKey, IsNotToldAsReleasedToAWindowThatHasLetItGo) {
    KeyWindow window;
    KeyWindow staying;
    const auto code = m_server.KeyCode("1");
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    ASSERT_EQ(staying.Grab("1"), 0);
    m_server.Press(code);
    EXPECT_EQ(window.Next(), (KeyMessage{code, DOWN}));
    ASSERT_EQ(window.Ungrab("1"), 0);
    m_server.Release(code);
    EXPECT_EQ(staying.Next(2), Tapped(code));
    m_server.Tap("2");
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("2")));
}

TEST_F(HeldKey, IsReleasedAfterAnotherOneThatWasPressedEarlier) {
    KeyWindow window;
    OtherClient other;
    other.TakeTheFocus();
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    const auto one = m_server.KeyCode("1");
    const auto two = m_server.KeyCode("2");
    for (int i = 0; i < 50; ++i) {
        m_server.Press(one);
        m_server.Press(two);
        m_server.Release(one);
        ASSERT_EQ(window.Next(3), (std::vector<KeyMessage>{{one, DOWN}, {two, DOWN}, {one, UP}}));
        m_server.Release(two);
        ASSERT_EQ(window.Next(), (KeyMessage{two, UP}));
    }
    m_server.Tap("3"); // the rest of the keyboard is everybody's again
    EXPECT_EQ(other.PressesUpTo(m_server.KeyCode("3")), std::vector<int>{m_server.KeyCode("3")});
}

TEST_F(HeldKey, IsReleasedWhereAnotherOneGoesUpAtTheSameTime) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    const auto one = m_server.KeyCode("1");
    const auto two = m_server.KeyCode("2");
    for (int i = 0; i < 20; ++i) {
        m_server.Press(one);
        m_server.Press(two);
        ASSERT_EQ(window.Next(2), (std::vector<KeyMessage>{{one, DOWN}, {two, DOWN}}));
        m_server.Release({one, two});
        ASSERT_EQ(window.Next(2), (std::vector<KeyMessage>{{one, UP}, {two, UP}}));
    }
}

TEST_F(HeldKey, IsReleasedHoweverFastKeysFollowEachOther) {
    KeyWindow window;
    OtherClient other;
    other.TakeTheFocus();
    const std::array keys = {m_server.KeyCode("1"), m_server.KeyCode("2"), m_server.KeyCode("3")};
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    ASSERT_EQ(window.Grab("3"), 0);
    ASSERT_EQ(window.Grab("Return"), 0);
    for (std::size_t i = 0; i < 600; ++i) { // one down, the one before up
        m_server.Press(keys.at(i % 3));
        if (i > 0) {
            m_server.Release(keys.at((i - 1) % 3));
        }
    }
    m_server.Release(keys.at(599 % 3));
    m_server.Tap("Return");
    std::map<long, long> last;
    for (const KeyMessage& message : window.UpTo(m_server.KeyCode("Return"))) {
        EXPECT_NE(std::exchange(last[message.code], message.type), message.type) << message;
    }
    for (const auto code : keys) {
        EXPECT_EQ(last[code], UP) << int{code};
        m_server.Tap(code);
        EXPECT_EQ(window.Next(2), Tapped(code));
    }
    m_server.Tap("4");
    const auto seen = other.PressesUpTo(m_server.KeyCode("4"));
    EXPECT_EQ(seen, std::vector<int>{m_server.KeyCode("4")});
}

TEST_F(HeldKey, GivesTheKeyboardBackWhereItsGrabEnds) {
    KeyWindow window;
    OtherClient other;
    other.TakeTheFocus();
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    m_server.Press("1");
    m_server.Press("2");
    m_server.Release("1");
    EXPECT_EQ(window.Next(3).back(), (KeyMessage{m_server.KeyCode("1"), UP}));
    ASSERT_EQ(window.Ungrab("2"), 0);
    m_server.Tap("3"); // the library's request is ahead: it has the lock until it is made
    EXPECT_EQ(other.PressesUpTo(m_server.KeyCode("3")), std::vector<int>{m_server.KeyCode("3")});
    m_server.Release("2");
}

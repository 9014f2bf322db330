// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CountThreads.h"
#include "Dlog.h"
#include "KeyWindow.h"
#include "LogCapture.h"
#include "OtherClient.h"
#include "UtilX.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

using testing::ElementsAre;

namespace {

// Lines of this priority that have the text in them.
int CountLines(int priority, const std::string& text) {
    int count = 0;
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        count += line.priority == priority && line.tag == "UTILX" &&
                 line.text.find(text) != std::string::npos;
    }
    return count;
}

class UtilX : public testing::Test {
protected:
    UtilX() { LogCapture::Clear(); }

    VirtualDisplay m_server;
};

} // namespace

TEST_F(UtilX, SendsAPressAndAReleaseWithTheKeysCode) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("Return"), 0);
    const auto code = m_server.KeyCode("Return");
    m_server.Press(code);
    EXPECT_EQ(window.Next(), (KeyMessage{code, DOWN}));
    m_server.Release(code);
    EXPECT_EQ(window.Next(), (KeyMessage{code, UP}));
}

TEST_F(UtilX, SendsNoOtherKeys) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("1"), 0);
    m_server.Tap("2");
    m_server.Tap("1");
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("1")));
}

TEST_F(UtilX, TakesTheKeyFromTheWindowThatHasTheFocus) {
    OtherClient other;
    other.TakeTheFocus();
    KeyWindow window;
    ASSERT_EQ(window.Grab("1"), 0);
    m_server.Tap("1");
    m_server.Tap("2");
    EXPECT_THAT(other.PressesUpTo(m_server.KeyCode("2")), ElementsAre(m_server.KeyCode("2")));
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("1")));
}

class UtilXModifier : public UtilX, public testing::WithParamInterface<const char*> {};

TEST_P(UtilXModifier, SendsTheKeyWhileAModifierIsHeldDown) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("1"), 0);
    m_server.Press(GetParam());
    m_server.Tap("1");
    m_server.Release(GetParam());
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("1")));
    m_server.Tap("1"); // a lock is on now
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("1")));
}

INSTANTIATE_TEST_SUITE_P(All, UtilXModifier,
                         testing::Values("Shift_L", "Control_R", "Alt_L", "Super_L", "Caps_Lock",
                                         "Num_Lock"));

TEST_F(UtilX, SendsEveryKeyThatHasTheName) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("XF86AudioPlay"), 0);
    for (const int code : {172, 208, 215}) {
        m_server.Tap(static_cast<std::uint8_t>(code));
        EXPECT_EQ(window.Next(2), Tapped(code));
    }
}

TEST_F(UtilX, ANameStandsForTheKeysThatYieldItWithNoModifier) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("exclam"), 0); // 1 and Shift
    ASSERT_EQ(window.Grab("2"), 0);
    m_server.Tap("1");
    m_server.Tap("2");
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("2")));
}

TEST_F(UtilX, SendsTheKeyToEachWindowThatGrabbedIt) {
    KeyWindow first;
    KeyWindow second;
    ASSERT_EQ(first.Grab("1"), 0);
    ASSERT_EQ(second.Grab("1"), 0);
    m_server.Tap("1");
    EXPECT_EQ(first.Next(2), Tapped(m_server.KeyCode("1")));
    EXPECT_EQ(second.Next(2), Tapped(m_server.KeyCode("1")));
}

TEST_F(UtilX, SendsTheKeyOnceToAWindowThatGrabbedItTwice) {
    KeyWindow window;
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    m_server.Tap("1");
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("1")));
    EXPECT_EQ(window.Ungrab("1"), 0);
    EXPECT_EQ(window.Ungrab("1"), -1);
    m_server.Tap("1");
    m_server.Tap("2");
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("2")));
}

TEST_F(UtilX, UngrabEndsTheGrabOfThatWindowAlone) {
    KeyWindow first;
    KeyWindow second;
    ASSERT_EQ(first.Grab("1"), 0);
    ASSERT_EQ(first.Grab("2"), 0);
    ASSERT_EQ(second.Grab("1"), 0);
    ASSERT_EQ(first.Ungrab("1"), 0);
    m_server.Tap("1");
    m_server.Tap("2");
    EXPECT_EQ(first.Next(2), Tapped(m_server.KeyCode("2")));
    EXPECT_EQ(second.Next(2), Tapped(m_server.KeyCode("1")));
}

TEST_F(UtilX, TheKeyIsFreeWhenTheLastWindowLetsGo) {
    const OtherClient other;
    const auto code = m_server.KeyCode("1");
    const KeyWindow first;
    const KeyWindow second;
    ASSERT_EQ(first.Grab("1"), 0);
    ASSERT_EQ(second.Grab("1"), 0);
    EXPECT_FALSE(other.Grab(code));
    ASSERT_EQ(first.Ungrab("1"), 0);
    EXPECT_FALSE(other.Grab(code));
    ASSERT_EQ(second.Ungrab("1"), 0);
    EXPECT_TRUE(other.Grab(code));
}

TEST_F(UtilX, UngrabOfWhatIsNotGrabbedFails) {
    const KeyWindow first;
    const KeyWindow second;
    EXPECT_EQ(first.Ungrab("1"), -1); // of no display
    ASSERT_EQ(first.Grab("1"), 0);
    EXPECT_EQ(first.Ungrab("2"), -1);
    EXPECT_EQ(second.Ungrab("1"), -1);
    EXPECT_EQ(CountLines(DLOG_DEBUG, "hasn't grabbed the key 1"), 2);
    EXPECT_EQ(CountLines(DLOG_DEBUG, "hasn't grabbed the key 2"), 1);
    EXPECT_EQ(first.Ungrab("1"), 0);
}

TEST_F(UtilX, ANameThatIsNoKeysymsFails) {
    const KeyWindow window;
    EXPECT_EQ(window.Grab("XF86NoSuchKey"), -1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "utilx_grab_key: no key is called 'XF86NoSuchKey'"), 1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "XKEYSYMDB"), 1);
    EXPECT_EQ(window.Grab(""), -1);
    EXPECT_EQ(window.Ungrab("XF86NoSuchKey"), -1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "utilx_ungrab_key: no key is called 'XF86NoSuchKey'"), 1);
}

TEST_F(UtilX, EveryOtherModeFails) {
    const KeyWindow window;
    for (const int mode :
         {0, +UTILX_WITH_REPEATS, UTILX_EXCLUSIVE_GRAB | 0x2, UTILX_EXCLUSIVE_GRAB << 1, -1}) {
        EXPECT_EQ(window.Grab("1", mode), -1) << mode;
    }
    EXPECT_EQ(CountLines(DLOG_ERROR, "the key 1 cannot be grabbed in mode"), 5);
    EXPECT_TRUE(OtherClient().Grab(m_server.KeyCode("1")));
    EXPECT_EQ(window.Grab("1", UTILX_EXCLUSIVE_GRAB | UTILX_WITH_REPEATS), 0);
}

TEST_F(UtilX, ANullDisplayOrNameFails) {
    const KeyWindow window;
    EXPECT_EQ(utilx_grab_key(nullptr, window.Id(), "1", UTILX_EXCLUSIVE_GRAB), -1);
    EXPECT_EQ(utilx_ungrab_key(nullptr, window.Id(), "1"), -1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "no display"), 2);
    EXPECT_EQ(window.Grab(nullptr), -1);
    EXPECT_EQ(window.Ungrab(nullptr), -1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "no key name"), 2);
}

TEST_F(UtilX, AWindowOfNoNumberIsTakenAsItStands) {
    KeyWindow window;
    ASSERT_EQ(utilx_grab_key(window.Connection(), None, "1", UTILX_EXCLUSIVE_GRAB), 0);
    ASSERT_EQ(window.Grab("1"), 0);
    m_server.Tap("1");
    EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("1")));
    EXPECT_EQ(utilx_ungrab_key(window.Connection(), None, "1"), 0);
}

TEST_F(UtilX, OtherWindowsGoOnWhereOneIsDestroyed) {
    KeyWindow gone;
    KeyWindow window;
    ASSERT_EQ(gone.Grab("1"), 0);
    ASSERT_EQ(window.Grab("1"), 0);
    gone.Destroy();
    for (int i = 0; i < 3; ++i) {
        m_server.Tap("1");
        EXPECT_EQ(window.Next(2), Tapped(m_server.KeyCode("1")));
    }
    EXPECT_EQ(gone.Ungrab("1"), 0);
    EXPECT_EQ(window.Grab("2"), 0);
}

TEST_F(UtilX, AKeyThatAnotherClientHasGrabbedFails) {
    const OtherClient other;
    const auto code = m_server.KeyCode("1");
    ASSERT_TRUE(other.Grab(code));
    KeyWindow window;
    EXPECT_EQ(window.Grab("1"), -1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "another program has grabbed the key 1 "), 1);
    EXPECT_EQ(window.Ungrab("1"), -1);
    other.Ungrab(code);
    ASSERT_EQ(window.Grab("1"), 0);
    m_server.Tap("1");
    EXPECT_EQ(window.Next(2), Tapped(code));
}

TEST_F(UtilX, LetsGoOfANamesOtherKeysWhereOneOfThemIsRefused) {
    const OtherClient other;
    ASSERT_TRUE(other.Grab(208)); // of 172, 208 and 215
    const KeyWindow window;
    EXPECT_EQ(window.Grab("XF86AudioPlay"), -1);
    EXPECT_TRUE(other.Grab(172));
    EXPECT_TRUE(other.Grab(215));
}

TEST_F(UtilX, HasOneThreadForEachDisplay) {
    ASSERT_TRUE(WaitUntil([] { return CountThreads("utilx-keys") == 0; }));
    const KeyWindow window;
    EXPECT_EQ(window.Ungrab("1"), -1);
    EXPECT_EQ(CountThreads("utilx-keys"), 0);
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    const KeyWindow sameDisplay((m_server.Name() + ".0").c_str());
    ASSERT_EQ(sameDisplay.Grab("1"), 0);
    EXPECT_TRUE(WaitUntil([] { return CountThreads("utilx-keys") == 1; }));

    const VirtualDisplay secondServer;
    KeyWindow otherDisplay;
    ASSERT_EQ(otherDisplay.Grab("1"), 0);
    EXPECT_TRUE(WaitUntil([] { return CountThreads("utilx-keys") == 2; }));
    secondServer.Tap("1");
    EXPECT_EQ(otherDisplay.Next(2), Tapped(m_server.KeyCode("1")));
}

TEST_F(UtilX, ALostServerIsToldAndCallsFailUntilItIsThereAgain) {
    KeyWindow window;
    window.Abandon();
    ASSERT_EQ(window.Grab("1"), 0);
    ASSERT_EQ(window.Grab("2"), 0);
    m_server.Kill();
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_WARN, "the connection to display " + m_server.Name() +
                                                   ".0 is lost, and 2 grabbed keys with it"));
    EXPECT_EQ(window.Ungrab("1"), -1);
    EXPECT_EQ(window.Grab("3"), -1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "the key 3 isn't grabbed"), 1);
    EXPECT_EQ(window.Ungrab("2"), -1);

    m_server.Restart();
    KeyWindow next;
    ASSERT_EQ(next.Grab("1"), 0);
    m_server.Tap("1");
    EXPECT_EQ(next.Next(2), Tapped(m_server.KeyCode("1")));
    EXPECT_EQ(next.Ungrab("2"), -1); // was the lost one's
}

TEST(UtilXDisplay, ThatCannotBeReachedFails) {
    VirtualDisplay server;
    KeyWindow window;
    window.Abandon();
    server.Kill();
    LogCapture::Clear();
    EXPECT_EQ(window.Grab("1"), -1);
    EXPECT_EQ(CountLines(DLOG_ERROR, "the key 1 isn't grabbed: display " + server.Name()), 1);
    EXPECT_EQ(window.Ungrab("1"), -1);
}

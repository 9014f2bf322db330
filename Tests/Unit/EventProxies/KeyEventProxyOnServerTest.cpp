// SPDX-License-Identifier: Apache-2.0

// The proxy with the real key grabs, on a keyboard whose keys are pressed.

#include "KeyEventProxy.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DeathTest.h"
#include "Dlog.h"
#include "KeepForEver.h"
#include "LogCapture.h"
#include "PrivateMember.h"
#include "RecordingListener.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

#include <X11/Xlib.h> // behind GoogleTest, which its macros would break

namespace {

using marrow::evt::key_event_arg_t;
using marrow::evt::KeyEventProxy;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Listener = RecordingListener<key_event_arg_t>;
using Strings = std::vector<std::string>;

constexpr std::uint8_t REMAPPED = 254;

struct Connection : PrivateMember<Connection, Display * KeyEventProxy::*> {};

} // namespace

template struct ExposeMember<Connection, &KeyEventProxy::x_disp>;

namespace {

// The server lives as long as the process: the proxy does.
VirtualDisplay& Server() {
    static const int isNamed = setenv("XKEYSYMDB", HEARTHD_KEYSYMS, 1);
    EXPECT_EQ(isNamed, 0);
    static VirtualDisplay server;
    return server;
}

// Made, with its window: what the server is asked for stands in Xlib's buffer first, and a key that
// is pressed before it is sent goes nowhere.
KeyEventProxy& Proxy() {
    KeyEventProxy& proxy = KeyEventProxy::Get();
    XSync(proxy.*MemberOf(Connection()), False);
    return proxy;
}

// "Up+" for each press and "Up-" for each release.
Strings WhatCame(Listener& listener) {
    Strings texts;
    for (const key_event_arg_t& event : listener.EventsSoFar()) {
        texts.push_back(event.keyname + (event.type == 0 ? "+" : "-"));
    }
    return texts;
}

class KeyEventProxyOnServer : public testing::Test {
protected:
    KeyEventProxyOnServer() { LogCapture::Clear(); }

    // Presses the key, and then one that the listener `last` has: once that is there, whatever was
    // to come of the first has come.
    void TapAndWait(const std::string& key) {
        server.Tap(key);
        server.Tap("F5");
        ++m_taps;
        EXPECT_TRUE(WaitUntil([&] { return last.Count() == 2 * m_taps; }));
    }

    VirtualDisplay& server = Server();
    KeyEventProxy& proxy = Proxy();
    Listener one{"one"};
    Listener two{"two"};
    // Of a key that isn't in the table: it can't unsubscribe, so it lives for ever.
    Listener& last = KeepForEver<Listener>("last");

private:
    std::size_t m_taps = 0;
};

TEST_F(KeyEventProxyOnServer, BringsAPressAndAReleaseOfEachKeyToItsListeners) {
    proxy.Subscribe(&last, {"F5"});
    proxy.Subscribe(&one, {"Up", "XF86AudioMute"});
    proxy.Subscribe(&two, {"Up"});
    TapAndWait("Up");
    TapAndWait("XF86AudioMute");
    TapAndWait("Down");
    EXPECT_THAT(WhatCame(one), ElementsAre("Up+", "Up-", "XF86AudioMute+", "XF86AudioMute-"));
    EXPECT_THAT(WhatCame(two), ElementsAre("Up+", "Up-"));

    // The grab stays with the second listener, and goes with it.
    proxy.Unsubscribe(&one);
    TapAndWait("Up");
    EXPECT_THAT(WhatCame(one), SizeIs(4));
    EXPECT_THAT(WhatCame(two), ElementsAre("Up+", "Up-", "Up+", "Up-"));
    proxy.Unsubscribe(&two);
    const int before = LogCapture::Count(DLOG_DEBUG, "Keyname: Up");
    EXPECT_EQ(before, 4);
    TapAndWait("Up");
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Keyname: Up"), before) << "it is still grabbed";
    // And is to be had again.
    proxy.Subscribe(&two, {"Up"});
    TapAndWait("Up");
    EXPECT_THAT(WhatCame(two), SizeIs(6));
    proxy.Unsubscribe(&two);
}

TEST_F(KeyEventProxyOnServer, OfTheTelevisionsOwnKeysIsThereBeforeAnybodyWantsThem) {
    proxy.Subscribe(&last, {"F5"});
    Display* const display = XOpenDisplay(nullptr);
    KeySym map[] = {XStringToKeysym("XF86STBPower")};
    ASSERT_NE(map[0], static_cast<KeySym>(NoSymbol)) << "XKEYSYMDB is to name it";
    XChangeKeyboardMapping(display, REMAPPED, 1, map, 1);
    XSync(display, False);
    ASSERT_TRUE(WaitUntil([&] { // the grab follows the keyboard's map
        server.Tap(REMAPPED);
        return LogCapture::Count(DLOG_DEBUG, "Keyname: XF86STBPower") > 0;
    }));
    TapAndWait("Left"); // what was tapped before has come by then
    EXPECT_THAT(one.asked, IsEmpty());

    proxy.Subscribe(&one, {"XF86STBPower"});
    TapAndWait("XF86STBPower");
    EXPECT_THAT(WhatCame(one), ElementsAre("XF86STBPower+", "XF86STBPower-"));
    // With its last listener the grab goes, although nobody had asked for it at first.
    proxy.Unsubscribe(&one);
    TapAndWait("Left");
    LogCapture::Clear();
    server.Tap(REMAPPED);
    TapAndWait("Left");
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Keyname: XF86STBPower"), 0);
    XCloseDisplay(display);
}

TEST_F(KeyEventProxyOnServer, DrainsManyKeysWithoutWaitingInBetween) {
    constexpr int KEYS = 200;
    proxy.Subscribe(&one, {"Left"});
    // At one look each 100 ms this would take 40 seconds.
    for (int i = 0; i < KEYS; ++i) {
        server.Tap("Left");
    }
    EXPECT_TRUE(WaitUntil([&] { return one.Count() == 2 * KEYS; }, std::chrono::seconds(20)));
    proxy.Unsubscribe(&one);
}

TEST(KeyEventProxyOnServerLife, EndsWithTheProcess) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Server();
            KeyEventProxy& proxy = Proxy();
            Listener& listener = KeepForEver<Listener>("listener");
            proxy.Subscribe(&listener, {"Up", "NoSuchKey", "F5"});
            Server().Press("Up");
            if (!WaitUntil([&] { return listener.Count() != 0; })) {
                std::exit(1);
            }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "KeyWindow.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>

#include "KeepForEver.h"
#include "UtilX.h"

std::ostream& operator<<(std::ostream& stream, const KeyMessage& message) {
    return stream << "key " << message.code
                  << (message.type == DOWN ? " down"
                      : message.type == UP ? " up"
                                           : " of another type");
}

std::vector<KeyMessage> Tapped(long code) {
    return {{code, DOWN}, {code, UP}};
}

KeyWindow::KeyWindow(const char* display) : m_display(XOpenDisplay(display)) {
    if (m_display == nullptr) {
        throw std::runtime_error("XOpenDisplay");
    }
    m_window = XCreateSimpleWindow(m_display, DefaultRootWindow(m_display), 0, 0, 16, 16, 0, 0, 0);
    XSync(m_display, False);
}

KeyWindow::~KeyWindow() {
    if (!m_isAbandoned) {
        XCloseDisplay(m_display);
    }
}

int KeyWindow::Grab(const char* key, int mode) const {
    return utilx_grab_key(m_display, m_window, key, mode);
}

int KeyWindow::Grab(const char* key) const {
    return Grab(key, UTILX_EXCLUSIVE_GRAB);
}

int KeyWindow::Ungrab(const char* key) const {
    return utilx_ungrab_key(m_display, m_window, key);
}

std::optional<KeyMessage> KeyWindow::Next(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true) {
        while (XPending(m_display) > 0) {
            XEvent event;
            XNextEvent(m_display, &event);
            if (event.type != ClientMessage) {
                continue; // a change of the map comes to every client
            }
            const XClientMessageEvent& message = event.xclient;
            EXPECT_EQ(message.window, m_window);
            EXPECT_EQ(message.format, 32);
            EXPECT_EQ(message.message_type, XInternAtom(m_display, "RCINPUT_KEYEVENT", True));
            return KeyMessage{message.data.l[2], message.data.l[3]};
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{ConnectionNumber(m_display), POLLIN, 0};
        if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) == 0) {
            return std::nullopt;
        }
    }
}

std::vector<KeyMessage> KeyWindow::Next(std::size_t count) {
    std::vector<KeyMessage> messages;
    while (messages.size() < count) {
        const auto message = Next();
        if (!message) {
            ADD_FAILURE() << "only " << messages.size() << " of " << count << " messages";
            break;
        }
        messages.push_back(*message);
    }
    return messages;
}

std::vector<KeyMessage> KeyWindow::UpTo(long code) {
    std::vector<KeyMessage> messages;
    while (messages.empty() || messages.back() != KeyMessage{code, UP}) {
        const auto message = Next();
        if (!message) {
            ADD_FAILURE() << "key " << code << " doesn't go up";
            break;
        }
        messages.push_back(*message);
    }
    return messages;
}

void KeyWindow::Destroy() {
    XDestroyWindow(m_display, m_window);
    XSync(m_display, False);
}

void KeyWindow::Abandon() {
    m_isAbandoned = true;
    KeepForEver<Display*>(m_display);
}

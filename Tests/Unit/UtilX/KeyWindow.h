// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h> // ahead of Xlib, whose macros are names there

#include <X11/Xlib.h>
#include <chrono>
#include <optional>
#include <ostream>
#include <vector>

/// What a window is told of a key.
struct KeyMessage {
    long code = 0;
    long type = 0;

    bool operator==(const KeyMessage&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const KeyMessage& message);

constexpr long DOWN = 2;
constexpr long UP = 3;
/// The two messages of a key that goes down and up.
std::vector<KeyMessage> Tapped(long code);

/// A window on a connection of its own to the display that DISPLAY names, as a program has that
/// grabs keys. It selects no events. One thread.
class KeyWindow {
public:
    /// `display` is as for XOpenDisplay.
    explicit KeyWindow(const char* display = nullptr);
    ~KeyWindow();
    KeyWindow(const KeyWindow&) = delete;
    KeyWindow& operator=(const KeyWindow&) = delete;

    Display* Connection() const { return m_display; }
    Window Id() const { return m_window; }

    int Grab(const char* key, int mode) const;
    int Grab(const char* key) const;
    int Ungrab(const char* key) const;

    /// The next message; none where the limit passes first. A client message of another form fails
    /// the test.
    std::optional<KeyMessage> Next(std::chrono::milliseconds limit = std::chrono::seconds(20));
    std::vector<KeyMessage> Next(std::size_t count);
    /// All messages up to the one that says that this key is up.
    std::vector<KeyMessage> UpTo(long code);

    /// Destroys the window; the connection stays.
    void Destroy();
    /// The server is going to end: the connection isn't used any more and never closed, because
    /// Xlib ends the process on one whose server has gone.
    void Abandon();

private:
    Display* m_display;
    Window m_window;
    bool m_isAbandoned = false;
};

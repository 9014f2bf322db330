// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>

struct xcb_connection_t;

/// An X server of the test's own: an Xvfb that ends with this object, and a keyboard whose keys the
/// test presses. While it lives, DISPLAY names it, and what it named before comes back afterwards.
/// Any thread may press keys.
///
/// The server listens on an abstract socket only: it leaves no file behind, however it ends, and
/// needs no /tmp/.X11-unix.
class VirtualDisplay {
public:
    /// Throws std::runtime_error where the server doesn't start.
    VirtualDisplay();
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    /// What XOpenDisplay takes.
    const std::string& Name() const { return m_name; }

    /// The server has seen it when these return. A key that is held down repeats.
    void Press(std::uint8_t keycode) const { Fake(true, keycode); }
    void Release(std::uint8_t keycode) const { Fake(false, keycode); }
    void Tap(std::uint8_t keycode) const;
    /// Several at once: the server does it before it looks at what other programs want.
    void Release(std::initializer_list<std::uint8_t> keycodes) const;

    /// The same with the name of a keysym that the keyboard has with no modifier. They throw
    /// std::runtime_error where it has none.
    void Press(const std::string& key) const { Press(KeyCode(key)); }
    void Release(const std::string& key) const { Release(KeyCode(key)); }
    void Tap(const std::string& key) const { Tap(KeyCode(key)); }
    std::uint8_t KeyCode(const std::string& key) const;

    /// Ends the server, as if it had crashed. Its name stays.
    void Kill();
    /// Starts it again under that name.
    void Restart();

    pid_t Pid() const { return m_pid; }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };

    bool Start();
    [[noreturn]] void Run(int descriptor) const;
    void Connect();
    void Fake(bool isPress, std::uint8_t keycode) const;

    pid_t m_pid = -1;
    std::string m_name;
    std::optional<std::string> m_outer; // DISPLAY before
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
};

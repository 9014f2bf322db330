// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <X11/X.h>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>
#include <xcb/xcb.h>

#include "KeyboardMap.h"
#include "Mutex.h"
#include "XcbPointers.h"

namespace utilx {

/// A connection to an X server, with the keys that are grabbed on it and the thread "utilx-keys"
/// that forwards them. Any thread calls; m_mutex guards what is wanted, grabbed and held, and the
/// thread takes it for each event.
class KeyConnection {
public:
    /// Connects and starts the thread. Throws std::runtime_error, or std::system_error where there
    /// is no thread to be had.
    explicit KeyConnection(const std::string& display);
    /// Ends the thread, and with the connection all grabs.
    ~KeyConnection();
    KeyConnection(const KeyConnection&) = delete;
    KeyConnection& operator=(const KeyConnection&) = delete;

    /// Returns false, with the reason in the log, where the key cannot be had. `name` is for the
    /// log.
    bool Grab(xcb_window_t window, KeySym key, const std::string& name, bool withRepeats)
        EXCLUDES(m_mutex);
    /// Returns false where the window hasn't grabbed the key.
    bool Ungrab(xcb_window_t window, KeySym key) EXCLUDES(m_mutex);

    /// The server has gone: nothing comes any more.
    bool IsLost() const;

private:
    struct Want {
        std::string name;
        std::map<xcb_window_t, bool> windows; // with repeats or without
    };
    // A key that is down. Who has been told of the press is told of the release, whatever key the
    // map has there by then; but not of a code that is no key any more.
    struct Held {
        xcb_keysym_t key = XCB_NO_SYMBOL;
        std::set<xcb_window_t> told;
    };
    struct Refusal {
        std::size_t code = 0;
        xcb_keysym_t key = XCB_NO_SYMBOL;
        int error = 0; // of the X protocol; 0 where the connection is lost
    };

    void LookUpAtom();
    void UseKeyboardExtension();

    bool Forget(xcb_window_t window, xcb_keysym_t key) REQUIRES(m_mutex);
    /// Makes the grabs on the server what the wants and the map ask for, and awaits its answer: a
    /// key that isn't wanted any more is free for other programs then.
    std::vector<Refusal> Settle() REQUIRES(m_mutex);
    void Log(const Refusal& refusal) const REQUIRES(m_mutex);

    void Forward() EXCLUDES(m_mutex);
    void Handle(const xcb_generic_event_t& event) EXCLUDES(m_mutex);
    void Press(xcb_keycode_t code) REQUIRES(m_mutex);
    void Release(xcb_keycode_t code) REQUIRES(m_mutex);
    void TellRelease(xcb_keycode_t code) REQUIRES(m_mutex);
    void TakeKeyboard() REQUIRES(m_mutex);
    void GiveKeyboardBack() REQUIRES(m_mutex);
    void MapChanged() REQUIRES(m_mutex);
    void Send(xcb_window_t window, xcb_keycode_t code, std::uint32_t type) const;

    // Constant after construction.
    const std::string m_display;
    XcbConnection m_connection;
    xcb_window_t m_root = XCB_NONE;
    xcb_atom_t m_atom = XCB_NONE;
    std::uint8_t m_keyboardEvent = 0; // the type of the keyboard extension's events

    mutable marrow::base::Mutex m_mutex;
    bool m_isEnding GUARDED_BY(m_mutex) = false;
    KeyboardMap m_map GUARDED_BY(m_mutex);
    std::map<xcb_keysym_t, Want> m_wants GUARDED_BY(m_mutex);
    // By key code: the key that it is grabbed for.
    std::array<xcb_keysym_t, KeyboardMap::CODES> m_grabbed GUARDED_BY(m_mutex){};
    std::map<xcb_keycode_t, Held> m_held GUARDED_BY(m_mutex);
    bool m_hasKeyboard GUARDED_BY(m_mutex) = false;
    std::uint32_t m_gaveBack GUARDED_BY(m_mutex) = 0; // the number of the request that did

    std::thread m_thread;
};

} // namespace utilx

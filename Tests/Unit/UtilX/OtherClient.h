// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

struct xcb_connection_t;

/// Another program at the same X server: one that grabs keys for itself, and has a window with the
/// focus. One thread.
class OtherClient {
public:
    OtherClient();

    /// Whether it gets the key, with all modifiers.
    bool Grab(std::uint8_t code) const;
    void Ungrab(std::uint8_t code) const;

    /// Makes a window that has the focus and asks for keys.
    void TakeTheFocus();
    /// The codes of the keys that have gone down in it, up to and with `code`.
    std::vector<int> PressesUpTo(std::uint8_t code) const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    std::uint32_t m_root;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <xcb/xcb.h>

namespace utilx {

/// Which keysym each key code yields with no modifier, in the first group: what XLookupKeysym says
/// for index 0. One thread at a time.
class KeyboardMap {
public:
    static constexpr std::size_t CODES = 256;

    /// Asks the server. Returns false, and keeps the map, where that fails.
    bool Fetch(xcb_connection_t* connection);

    /// XCB_NO_SYMBOL for a code that has none.
    xcb_keysym_t At(std::size_t code) const { return m_keysyms.at(code); }

private:
    std::array<xcb_keysym_t, CODES> m_keysyms{};
};

} // namespace utilx

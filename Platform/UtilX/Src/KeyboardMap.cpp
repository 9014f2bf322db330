// SPDX-License-Identifier: Apache-2.0
#include "KeyboardMap.h"

#include "XcbPointers.h"

namespace utilx {

bool KeyboardMap::Fetch(xcb_connection_t* connection) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const std::size_t first = setup->min_keycode;
    const std::size_t count = setup->max_keycode - first + 1;
    const XcbPointer<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        connection,
        xcb_get_keyboard_mapping(connection, setup->min_keycode, static_cast<std::uint8_t>(count)),
        nullptr));
    if (reply == nullptr) {
        return false;
    }
    const std::size_t columns = reply->keysyms_per_keycode;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(reply.get());
    m_keysyms.fill(XCB_NO_SYMBOL);
    for (std::size_t i = 0; columns > 0 && i < count; ++i) {
        m_keysyms.at(first + i) = keysyms[i * columns];
    }
    return true;
}

} // namespace utilx

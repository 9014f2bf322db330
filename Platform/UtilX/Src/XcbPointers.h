// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace utilx {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// Replies, events and errors of xcb, whose receiver frees them.
template <typename T>
using XcbPointer = std::unique_ptr<T, Free>;

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, Disconnect>;

} // namespace utilx

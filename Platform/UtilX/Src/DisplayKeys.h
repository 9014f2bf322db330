// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <X11/X.h>
#include <memory>
#include <string>

#include "KeyConnection.h"
#include "Mutex.h"

namespace utilx {

/// The keys of one display. Any thread; m_mutex guards the connection, which is made when the first
/// key is grabbed, and anew when it has been lost and a key is grabbed then.
class DisplayKeys {
public:
    explicit DisplayKeys(std::string display);

    bool Grab(xcb_window_t window, KeySym key, const std::string& name, bool withRepeats);
    bool Ungrab(xcb_window_t window, KeySym key);

private:
    const std::string m_display;
    marrow::base::Mutex m_mutex; // is held while connecting: its own display's callers wait
    std::unique_ptr<KeyConnection> m_connection GUARDED_BY(m_mutex);
};

} // namespace utilx

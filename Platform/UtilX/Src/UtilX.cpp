// SPDX-License-Identifier: Apache-2.0
#include "UtilX.h"

#include <exception>

#include "DisplayTable.h"
#include "KeysymName.h"
#include "UtilXLog.h"

namespace {

using namespace utilx;

// NoSymbol where what is given cannot be a key of a display.
KeySym KeyOf(Display* display, const char* name, const char* what) {
    if (display == nullptr || name == nullptr) {
        UTILX_LOGE("%s: no %s", what, display == nullptr ? "display" : "key name");
        return NoSymbol;
    }
    const KeySym key = KeysymOf(name);
    if (key == NoSymbol) {
        UTILX_LOGE("%s: no key is called '%s'; more names come from the file that XKEYSYMDB names",
                   what, name);
    }
    return key;
}

} // namespace

int utilx_grab_key(Display* display, Window window, const char* key_name, int mode) {
    try {
        const KeySym key = KeyOf(display, key_name, "utilx_grab_key");
        if (key == NoSymbol) {
            return -1;
        }
        if ((mode & ~UTILX_WITH_REPEATS) != UTILX_EXCLUSIVE_GRAB) {
            UTILX_LOGE("utilx_grab_key: the key %s cannot be grabbed in mode %#x", key_name,
                       static_cast<unsigned>(mode));
            return -1;
        }
        return DisplayTable::Get()
                       .At(DisplayString(display))
                       .Grab(static_cast<xcb_window_t>(window), key, key_name,
                             (mode & UTILX_WITH_REPEATS) != 0)
                   ? 0
                   : -1;
    } catch (const std::exception& exception) {
        UTILX_LOGE("utilx_grab_key: %s", exception.what());
        return -1;
    }
}

int utilx_ungrab_key(Display* display, Window window, const char* key_name) {
    try {
        const KeySym key = KeyOf(display, key_name, "utilx_ungrab_key");
        if (key == NoSymbol) {
            return -1;
        }
        const auto target = static_cast<xcb_window_t>(window);
        if (!DisplayTable::Get().At(DisplayString(display)).Ungrab(target, key)) {
            // Usual: whoever leaves lets go of all the keys that there are.
            UTILX_LOGD("utilx_ungrab_key: window %#lx hasn't grabbed the key %s", window, key_name);
            return -1;
        }
        return 0;
    } catch (const std::exception& exception) {
        UTILX_LOGE("utilx_ungrab_key: %s", exception.what());
        return -1;
    }
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

// Keys of the remote control for a window, whichever window has the focus.
//
// The key comes to the window as a client message, which needs no event mask: format 32,
// message_type the atom "RCINPUT_KEYEVENT", and of the data's words
//
//     data.l[2]   the key code, as XLookupKeysym takes it
//     data.l[3]   2 when the key goes down, 3 when it goes up
//
// Where the map gives a key that is held down no keysym any more, its release doesn't come: nobody
// could tell whose it is.
//
// On a PC the library grabs the key on the root window of the display's default screen, whatever
// modifiers are held down. It does so on a connection of its own, with a thread of its own
// ("utilx-keys") for each display that keys are grabbed on.
//
// Key names are those of keysyms, as XStringToKeysym takes them. Many keys of a remote control have
// names that Xlib doesn't know by itself: the file that the environment variable XKEYSYMDB names
// adds them, and where the variable isn't set the library sets it to the file that it is installed
// with, when it is loaded. A name stands for the key codes that yield its keysym with no modifier.
// The library follows the keyboard map: where no key has the name yet, the grab takes effect as
// soon as one has.

#include <X11/Xlib.h>

#ifdef __cplusplus
extern "C" {
#endif

// The mode of a grab: UTILX_EXCLUSIVE_GRAB, alone or with UTILX_WITH_REPEATS.
enum {
    /// While a key is held down, each of its repetitions comes as a further press.
    UTILX_WITH_REPEATS = 0x1,
    /// The key comes to windows of this process only. Without repetitions, a key that is held down
    /// is one press and one release. While it is, no key comes to any other program: X has it so.
    UTILX_EXCLUSIVE_GRAB = 0x10000,
};

/// Has the named key sent to the window. A second time for the same window and key sets the mode.
/// Several windows of one process may have the same key: each gets the message.
///
/// The display is only asked which one it is; any thread may call this. Returns 0, or -1 and the
/// reason in the log: a name that isn't a keysym's, another mode, a display that cannot be reached,
/// or a key that another process has grabbed.
int utilx_grab_key(Display* display, Window window, const char* key_name, int mode);

/// Ends that; other programs may have the key when this returns. A window that is destroyed keeps
/// its grabs until then. Any thread. Returns 0, or -1 where the window hasn't grabbed the key.
int utilx_ungrab_key(Display* display, Window window, const char* key_name);

#ifdef __cplusplus
}
#endif

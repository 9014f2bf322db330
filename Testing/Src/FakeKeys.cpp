// SPDX-License-Identifier: Apache-2.0

// What KeyEventProxy calls of Xlib and of the key grabs, in the place of theirs. As in the daemon
// there is no display where the environment names none.

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <cstdlib>
#include <type_traits>

#include "KeyServer.h"
#include "UtilX.h"

namespace {

using hearthd::testing::KeyServer;

constexpr Window WINDOW = 1;
constexpr Atom KEY_MESSAGE = 1;

// Of its fields, Xlib's macros read the root window's.
Display* TheDisplay() {
    using Fields = std::remove_pointer_t<_XPrivDisplay>;
    static auto* const screen = new Screen{};
    static auto* const display = new Fields{};
    display->screens = screen;
    display->nscreens = 1;
    return reinterpret_cast<Display*>(display);
}

} // namespace

Status XInitThreads() {
    return 1;
}

Display* XOpenDisplay(const char* /*name*/) {
    return std::getenv("DISPLAY") == nullptr ? nullptr : TheDisplay();
}

int XCloseDisplay(Display* /*display*/) {
    return 0;
}

Window XCreateWindow(Display* /*display*/, Window /*parent*/, int /*x*/, int /*y*/,
                     unsigned int /*width*/, unsigned int /*height*/, unsigned int /*border*/,
                     int /*depth*/, unsigned int /*kind*/, Visual* /*visual*/,
                     unsigned long /*mask*/, XSetWindowAttributes* /*attributes*/) {
    return WINDOW;
}

int XDestroyWindow(Display* /*display*/, Window /*window*/) {
    return 1;
}

int XSelectInput(Display* /*display*/, Window /*window*/, long /*mask*/) {
    return 1;
}

Atom XInternAtom(Display* /*display*/, const char* /*name*/, Bool /*onlyIfExists*/) {
    return KEY_MESSAGE; // nobody asks for another one
}

int XPending(Display* /*display*/) {
    return KeyServer::Get().HasMessage() ? 1 : 0;
}

int XNextEvent(Display* display, XEvent* event) {
    const KeyServer::Message message = KeyServer::Get().NextMessage();
    *event = {};
    event->xclient.type = ClientMessage;
    event->xclient.display = display;
    event->xclient.window = WINDOW;
    event->xclient.message_type = KEY_MESSAGE;
    event->xclient.format = 32;
    event->xclient.data.l[2] = static_cast<long>(message.keycode);
    event->xclient.data.l[3] = static_cast<long>(message.type);
    return 0;
}

KeySym XLookupKeysym(XKeyEvent* key, int /*index*/) {
    return key->keycode;
}

char* XKeysymToString(KeySym keysym) {
    return const_cast<char*>(KeyServer::Get().NameOf(keysym)); // only read
}

int XFree(void* /*data*/) {
    return 1; // nothing of this was allocated
}

int utilx_grab_key(Display* /*display*/, Window /*window*/, const char* key_name, int /*mode*/) {
    KeyServer::Get().Grab(key_name);
    return 0;
}

int utilx_ungrab_key(Display* /*display*/, Window /*window*/, const char* key_name) {
    return KeyServer::Get().Ungrab(key_name) ? 0 : -1;
}

// SPDX-License-Identifier: Apache-2.0
#include "KeyEventProxy.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <cstddef>
#include <ctime>
#include <string_view>
#include <type_traits>

#include "EventDelivery.h"
#include "KeyNames.h"
#include "Log.h"
#include "Probe.h"
#include "UtilX.h"

namespace marrow::evt {

template class IListenable<key_event_arg_t>; // its table stands in the executable

std::vector<std::string> KeyEventProxy::KEYS_ALL;

namespace {

// As the header has them, without Xlib's.
static_assert(std::is_same_v<Display, _XDisplay> && std::is_same_v<Window, unsigned long>);

constexpr unsigned long PRESS = 2; // the type word of a message; everything else is a release
constexpr timespec IDLE = {0, 100'000'000};

// The names of Unicode's keysyms are made for the caller, "U0416" for one. But some are in Xlib's
// own table, as that of Wcircumflex is: these stay Xlib's.
bool IsCallersName(KeySym keysym, std::string_view name) {
    return keysym >= 0x1000100 && keysym <= 0x110FFFF && name.starts_with('U') &&
           name.find_first_not_of("0123456789ABCDEF", 1) == std::string_view::npos;
}

} // namespace

KeyEventProxy& KeyEventProxy::Get() {
    static KeyEventProxy instance;
    return instance;
}

KeyEventProxy::KeyEventProxy() {
    InitAllKeys();
    InitX();
    m_thread = std::thread(&KeyEventProxy::KeyEventLoop, this);
}

KeyEventProxy::~KeyEventProxy() {
    {
        const base::MutexLock lock(m_mutex);
        m_subscribers.clear();
    }
    m_stop = true;
    m_thread.join();
    for (const std::string& key : KEYS_ALL) {
        RemoveKey(key);
    }
    XDestroyWindow(x_disp, m_window);
    XCloseDisplay(x_disp);
}

void KeyEventProxy::InitAllKeys() {
    for (const char* name : KEY_NAMES) {
        KEYS_ALL.push_back(name); // NOLINT(modernize-use-emplace): it is the same
    }
}

// Without a display this ends the process, at the first look into it.
void KeyEventProxy::InitX() {
    XInitThreads();
    x_disp = XOpenDisplay(nullptr);
    XSetWindowAttributes attributes{};
    attributes.event_mask = KeyPressMask | KeyReleaseMask; // without effect: the value mask is 0
    m_window = XCreateWindow(x_disp, RootWindow(x_disp, DefaultScreen(x_disp)), -1, -1, 1, 1, 0, 0,
                             InputOnly, nullptr, 0, &attributes);
    XSelectInput(x_disp, m_window,
                 KeyPressMask | KeyReleaseMask | ExposureMask | StructureNotifyMask);
    for (const char* key : {"XF86MBRMenu", "XF86STBPower", "XF86MBRSTBGuide"}) {
        AddKey(key); // whether or not anybody wants it
    }
}

void KeyEventProxy::Subscribe(IListener* listener, std::vector<std::string> keys) {
    const base::MutexLock lock(m_mutex);
    for (const std::string& key : keys) {
        std::vector<IListener*>& listeners = m_subscribers[key];
        listeners.push_back(listener);
        if (listeners.size() == 1) {
            AddKey(key);
        }
    }
}

void KeyEventProxy::Unsubscribe(IListener* listener) {
    const base::MutexLock lock(m_mutex);
    for (const std::string& key : KEYS_ALL) {
        std::vector<IListener*>& listeners = m_subscribers[key];
        // Whoever moves into the place of an erased one is passed over.
        for (std::size_t i = 0; i < listeners.size(); ++i) {
            if (listeners[i] != listener) {
                continue;
            }
            listeners.erase(listeners.begin() + static_cast<std::ptrdiff_t>(i));
            if (listeners.empty()) {
                RemoveKey(key);
            }
        }
    }
}

int KeyEventProxy::AddKey(std::string key) {
    LOGD("AddKey %s", key.c_str());
    return utilx_grab_key(x_disp, m_window, key.c_str(), UTILX_EXCLUSIVE_GRAB);
}

int KeyEventProxy::RemoveKey(std::string key) {
    LOGD("RemoveKey %s", key.c_str());
    return utilx_ungrab_key(x_disp, m_window, key.c_str());
}

void KeyEventProxy::KeyEventLoop() {
    LOGI("start");
    if (x_disp == nullptr) {
        LOGE("x_disp is null");
        return;
    }
    const Atom keyMessage = XInternAtom(x_disp, "RCINPUT_KEYEVENT", False);
    while (!m_stop) {
        if (XPending(x_disp) == 0) {
            nanosleep(&IDLE, nullptr);
            continue;
        }
        XEvent event;
        XNextEvent(x_disp, &event);
        if (event.type != ClientMessage || event.xclient.message_type != keyMessage) {
            continue;
        }
        const long(&words)[5] = event.xclient.data.l;
        if (!HandleKey(event.xclient.display, static_cast<unsigned long>(words[2]),
                       static_cast<unsigned long>(words[3]))) {
            break;
        }
    }
    LOGI("stop");
}

bool KeyEventProxy::HandleKey(_XDisplay* display, unsigned long keycode, unsigned long type) {
    HEARTHD_PROBE(hearthd, event_in, "key");
    LOGD("KeyEvent type: %lu, keycode: %lu", type, keycode);
    XKeyEvent key{};
    key.display = display;
    key.keycode = static_cast<unsigned int>(keycode);
    const KeySym keysym = XLookupKeysym(&key, 0);
    if (keysym == NoSymbol) {
        LOGW("KeyEvent break by ks NoSymbol");
        return false;
    }
    char* name = XKeysymToString(keysym);
    if (name == nullptr) {
        LOGW("KeyEvent break by key not found");
        return true;
    }
    LOGD("Keyname: %s", name);
    const base::MutexLock lock(m_mutex);
    const key_event_arg_t event{type == PRESS ? 0 : 1, name};
    for (IListener* listener : m_subscribers[event.keyname]) {
        Deliver(listener, event);
    }
    if (IsCallersName(keysym, name)) {
        XFree(name);
    }
    return true;
}

} // namespace marrow::evt

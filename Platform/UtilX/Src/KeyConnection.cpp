// SPDX-License-Identifier: Apache-2.0

// The connection is ours alone, so that the caller's Display, its event queue and its error handler
// stay untouched, and any thread may grab. The thread "utilx-keys" blocks in xcb_wait_for_event;
// other threads await replies at the same time, and where one of these reads an event off the
// socket, xcb wakes the thread. (A thread that waits for the socket itself would miss that event.)
// The lock is held while an answer of the server is awaited: then no event is handled halfway
// between two states, and answers come in fractions of a millisecond.
//
// What is wanted is known by keysym; Settle compares that with the map and with what is grabbed,
// for a grab, for its end and for a change of the map alike. A grab that is refused comes back as
// an answer to the request.
//
// The server makes a key's grab a grab of the whole keyboard from the key's press to its release.
// Where a second grabbed key goes down meanwhile and the first one up, the second one's release
// would go elsewhere. So then the keyboard is grabbed until no grabbed key is down, and the server
// is asked which keys are down still: what went up before that grab is told as released.
//
// The destructor shuts the socket down. That wakes the thread whatever the server does, and is told
// from the server's own end by m_isEnding.

#include "KeyConnection.h"

#include <iterator>
#include <pthread.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <utility>

#include "UtilXLog.h"
#include "XcbXkb.h"

namespace utilx {

namespace {

constexpr std::string_view MESSAGE = "RCINPUT_KEYEVENT";
constexpr std::uint32_t DOWN = 2;
constexpr std::uint32_t UP = 3;

} // namespace

KeyConnection::KeyConnection(const std::string& display) : m_display(display) {
    int screen = 0;
    m_connection.reset(xcb_connect(display.c_str(), &screen));
    if (IsLost()) {
        throw std::runtime_error("cannot connect");
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get()));
    for (; screen > 0 && screens.rem > 1; --screen) {
        xcb_screen_next(&screens);
    }
    m_root = screens.data->root;
    LookUpAtom();
    UseKeyboardExtension();
    const marrow::base::MutexLock lock(m_mutex);
    if (!m_map.Fetch(m_connection.get())) {
        throw std::runtime_error("the server doesn't tell its keyboard map");
    }
    m_thread = std::thread([this] { Forward(); });
}

KeyConnection::~KeyConnection() {
    {
        const marrow::base::MutexLock lock(m_mutex);
        m_isEnding = true;
    }
    xcb_flush(m_connection.get());
    shutdown(xcb_get_file_descriptor(m_connection.get()), SHUT_RDWR);
    m_thread.join();
}

void KeyConnection::LookUpAtom() {
    const XcbPointer<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        m_connection.get(), xcb_intern_atom(m_connection.get(), 0, MESSAGE.size(), MESSAGE.data()),
        nullptr));
    if (reply == nullptr) {
        throw std::runtime_error("the server has no room for an atom");
    }
    m_atom = reply->atom;
}

// With it, a key that is held down and repeats is a row of presses; without it, each repetition is
// a release and a press. Who uses it is no longer told of changes of the map in the plain way.
void KeyConnection::UseKeyboardExtension() {
    xcb_connection_t* const connection = m_connection.get();
    const auto* extension = xcb_get_extension_data(connection, &xcb_xkb_id);
    if (extension == nullptr || extension->present == 0) {
        throw std::runtime_error("the server lacks the keyboard extension");
    }
    const XcbPointer<xcb_xkb_use_extension_reply_t> used(xcb_xkb_use_extension_reply(
        connection, xcb_xkb_use_extension(connection, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION),
        nullptr));
    constexpr std::uint32_t REPEATS = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    const XcbPointer<xcb_xkb_per_client_flags_reply_t> flags(xcb_xkb_per_client_flags_reply(
        connection,
        xcb_xkb_per_client_flags(connection, XCB_XKB_ID_USE_CORE_KBD, REPEATS, REPEATS, 0, 0, 0),
        nullptr));
    if (used == nullptr || flags == nullptr || (flags->value & REPEATS) == 0) {
        throw std::runtime_error("the server cannot tell repetitions of a key");
    }
    constexpr std::uint16_t EVENTS =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t PARTS = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS;
    xcb_xkb_select_events(connection, XCB_XKB_ID_USE_CORE_KBD, EVENTS, 0, EVENTS, PARTS, PARTS,
                          nullptr);
    m_keyboardEvent = extension->first_event;
}

bool KeyConnection::IsLost() const {
    return xcb_connection_has_error(m_connection.get()) != 0;
}

bool KeyConnection::Grab(xcb_window_t window, KeySym key, const std::string& name,
                         bool withRepeats) {
    const auto keysym = static_cast<xcb_keysym_t>(key);
    const marrow::base::MutexLock lock(m_mutex);
    Want& want = m_wants[keysym];
    want.name = name;
    const bool isNew = want.windows.insert_or_assign(window, withRepeats).second;
    bool isRefused = IsLost();
    for (const Refusal& refusal : Settle()) {
        if (refusal.key == keysym) {
            Log(refusal);
            isRefused = true;
        }
    }
    if (isRefused && isNew) {
        Forget(window, keysym); // a name may stand for several codes, some of which are grabbed now
    }
    return !isRefused;
}

bool KeyConnection::Ungrab(xcb_window_t window, KeySym key) {
    const auto keysym = static_cast<xcb_keysym_t>(key);
    const marrow::base::MutexLock lock(m_mutex);
    return Forget(window, keysym);
}

bool KeyConnection::Forget(xcb_window_t window, xcb_keysym_t key) {
    const auto known = m_wants.find(key);
    if (known == m_wants.end() || known->second.windows.erase(window) == 0) {
        return false;
    }
    for (auto held = m_held.begin(); held != m_held.end();) {
        auto& [heldKey, told] = held->second;
        const bool isLast = heldKey == key && told.erase(window) != 0 && told.empty();
        held = isLast ? m_held.erase(held) : std::next(held);
    }
    GiveKeyboardBack();
    if (known->second.windows.empty()) {
        m_wants.erase(known);
        Settle();
    }
    return true;
}

std::vector<KeyConnection::Refusal> KeyConnection::Settle() {
    struct Asked {
        std::size_t code;
        xcb_void_cookie_t answer;
    };
    std::vector<Asked> asked;
    for (std::size_t code = 0; code < KeyboardMap::CODES; ++code) {
        const xcb_keysym_t key = m_map.At(code);
        const xcb_keysym_t wanted = m_wants.contains(key) ? key : XCB_NO_SYMBOL;
        const xcb_keysym_t grabbed = std::exchange(m_grabbed.at(code), wanted);
        if ((wanted == XCB_NO_SYMBOL) == (grabbed == XCB_NO_SYMBOL)) {
            continue;
        }
        const auto keycode = static_cast<xcb_keycode_t>(code);
        xcb_connection_t* const connection = m_connection.get();
        asked.push_back(
            {code, wanted == XCB_NO_SYMBOL
                       ? xcb_ungrab_key_checked(connection, keycode, m_root, XCB_MOD_MASK_ANY)
                       : xcb_grab_key_checked(connection, 0, m_root, XCB_MOD_MASK_ANY, keycode,
                                              XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)});
    }
    std::vector<Refusal> refusals;
    for (const Asked& request : asked) {
        const XcbPointer<xcb_generic_error_t> error(
            xcb_request_check(m_connection.get(), request.answer));
        xcb_keysym_t& grabbed = m_grabbed.at(request.code);
        if ((error != nullptr || IsLost()) && grabbed != XCB_NO_SYMBOL) {
            refusals.push_back({request.code, grabbed, error != nullptr ? error->error_code : 0});
            grabbed = XCB_NO_SYMBOL;
        }
    }
    return refusals;
}

void KeyConnection::Log(const Refusal& refusal) const {
    const char* name = m_wants.at(refusal.key).name.c_str();
    if (refusal.error == XCB_ACCESS) {
        UTILX_LOGE("another program has grabbed the key %s (code %zu of display %s)", name,
                   refusal.code, m_display.c_str());
    } else if (refusal.error != 0) {
        UTILX_LOGE("the key %s (code %zu of display %s) cannot be grabbed: X error %d", name,
                   refusal.code, m_display.c_str(), refusal.error);
    }
}

void KeyConnection::Forward() {
    pthread_setname_np(pthread_self(), "utilx-keys");
    while (const XcbPointer<xcb_generic_event_t> event{xcb_wait_for_event(m_connection.get())}) {
        Handle(*event);
    }
    const marrow::base::MutexLock lock(m_mutex);
    if (!m_isEnding) {
        UTILX_LOGW("the connection to display %s is lost, and %zu grabbed keys with it",
                   m_display.c_str(), m_wants.size());
    }
}

// Errors come here too: a message to a window that is gone is nobody's loss.
void KeyConnection::Handle(const xcb_generic_event_t& event) {
    const marrow::base::MutexLock lock(m_mutex);
    if (event.response_type == XCB_KEY_PRESS) {
        Press(reinterpret_cast<const xcb_key_press_event_t&>(event).detail);
        // Went down while we had the whole keyboard, which has been given back since.
        if (!m_hasKeyboard && static_cast<std::int32_t>(event.full_sequence - m_gaveBack) < 0) {
            TakeKeyboard();
        }
    } else if (event.response_type == XCB_KEY_RELEASE) {
        Release(reinterpret_cast<const xcb_key_release_event_t&>(event).detail);
    } else if (event.response_type == m_keyboardEvent) {
        MapChanged(); // nothing else is selected
    }
    xcb_flush(m_connection.get());
}

void KeyConnection::Press(xcb_keycode_t code) {
    const auto want = m_wants.find(m_grabbed.at(code));
    if (want == m_wants.end()) {
        return; // was under way when the grab ended
    }
    const bool isRepeat = m_held.contains(code);
    Held& held = m_held[code];
    held.key = want->first;
    for (const auto& [window, withRepeats] : want->second.windows) {
        if (!isRepeat || withRepeats) {
            held.told.insert(window);
            Send(window, code, DOWN);
        }
    }
}

void KeyConnection::Release(xcb_keycode_t code) {
    TellRelease(code);
    if (m_hasKeyboard) {
        GiveKeyboardBack();
    } else {
        TakeKeyboard();
    }
}

void KeyConnection::TellRelease(xcb_keycode_t code) {
    const auto held = m_held.extract(code);
    if (!held.empty() && m_map.At(code) != XCB_NO_SYMBOL) {
        for (const xcb_window_t window : held.mapped().told) {
            Send(window, code, UP);
        }
    }
}

// For the keys that are held down. Where another program has the keyboard, nothing of theirs will
// come any more.
void KeyConnection::TakeKeyboard() {
    if (m_held.empty()) {
        return;
    }
    xcb_connection_t* const connection = m_connection.get();
    const auto grab = xcb_grab_keyboard(connection, 0, m_root, XCB_CURRENT_TIME,
                                        XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    const auto query = xcb_query_keymap(connection);
    const XcbPointer<xcb_grab_keyboard_reply_t> grabbed(
        xcb_grab_keyboard_reply(connection, grab, nullptr));
    const XcbPointer<xcb_query_keymap_reply_t> keys(
        xcb_query_keymap_reply(connection, query, nullptr));
    m_hasKeyboard = grabbed != nullptr && grabbed->status == XCB_GRAB_STATUS_SUCCESS;
    for (auto held = m_held.begin(); held != m_held.end();) {
        const xcb_keycode_t code = (held++)->first;
        const bool isDown = keys != nullptr && (keys->keys[code / 8] >> (code % 8) & 1) != 0;
        if (!m_hasKeyboard || !isDown) {
            TellRelease(code);
        }
    }
    GiveKeyboardBack();
}

void KeyConnection::GiveKeyboardBack() {
    if (m_hasKeyboard && m_held.empty()) {
        m_gaveBack = xcb_ungrab_keyboard(m_connection.get(), XCB_CURRENT_TIME).sequence;
        m_hasKeyboard = false;
    }
}

void KeyConnection::MapChanged() {
    if (m_map.Fetch(m_connection.get())) {
        for (const Refusal& refusal : Settle()) {
            Log(refusal);
        }
    }
}

void KeyConnection::Send(xcb_window_t window, xcb_keycode_t code, std::uint32_t type) const {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = m_atom;
    message.data.data32[2] = code;
    message.data.data32[3] = type;
    static_assert(sizeof(message) == 32); // what xcb_send_event reads
    xcb_send_event(m_connection.get(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&message));
}

} // namespace utilx

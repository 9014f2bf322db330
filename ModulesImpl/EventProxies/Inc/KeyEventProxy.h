// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "IListenable.h"
#include "Mutex.h"

struct _XDisplay; // Xlib's Display; its own header is full of macros that a service needn't have

namespace marrow::evt {

/// What a listener gets.
struct key_event_arg_t {
    std::int32_t type;   ///< 0 when the key goes down, 1 when it goes up
    std::string keyname; ///< the name of its keysym, as in KEYS_ALL
};

/// The keys of the remote control: each to all listeners that named it, on the workers that they
/// name.
///
/// Any thread. The proxy has a hidden X window, to which the platform sends the keys that are
/// grabbed for it, a connection to the X server, and a thread that looks there: at once while keys
/// come, every 100 ms otherwise. m_mutex guards the table of listeners, and is held while the
/// platform is asked, on the caller's thread, and while a key is delivered. Nobody looks at what
/// the platform answers: whose key is refused hears nothing.
///
/// The thread ends for good at a message whose key code has no keysym, and no key comes after it.
/// Where the X server's connection breaks, Xlib ends the process.
class KeyEventProxy : public IListenable<key_event_arg_t> {
public:
    /// The process's one. It connects to the X server that the environment names at once, and ends
    /// the process where there is none. It grabs XF86MBRMenu, XF86STBPower and XF86MBRSTBGuide,
    /// whoever wants them.
    static KeyEventProxy& Get();

    /// Lets go of every key of KEYS_ALL, ends the thread and leaves the X server.
    ~KeyEventProxy() override;

    /// Adds the listener to each key, and grabs the keys that had none. Who subscribes to a key
    /// twice gets it twice. The keys may be others than those of KEYS_ALL, but nothing ends such a
    /// subscription: Unsubscribe doesn't find it, and the listener must live for ever.
    void Subscribe(IListener* listener, std::vector<std::string> keys);

    /// Removes the listener from each key of KEYS_ALL, and lets go of the keys that have none left.
    /// Where it stands twice in a row under one key, the second stays, unless KEYS_ALL holds that
    /// key twice.
    void Unsubscribe(IListener* listener);

    // The platform's grab of a key, and the end of it, with the platform's answer.
    int AddKey(std::string key);
    int RemoveKey(std::string key);

    /// The usual keys of a remote control, filled when the proxy is made. Some stand in it twice,
    /// and Unsubscribe visits those twice.
    static std::vector<std::string> KEYS_ALL;

private:
    KeyEventProxy();

    static void InitAllKeys();
    void InitX();
    void KeyEventLoop();
    // False where nothing is to be read any more.
    bool HandleKey(_XDisplay* display, unsigned long keycode, unsigned long type);

    base::Mutex m_mutex;
    std::thread m_thread;
    unsigned long m_window = 0; // Xlib's Window; this and x_disp are constant after construction
    _XDisplay* x_disp = nullptr;
    std::atomic<bool> m_stop = false;
    // An entry stays once it is there. The listeners aren't owned.
    std::map<std::string, std::vector<IListener*>> m_subscribers GUARDED_BY(m_mutex);
};

} // namespace marrow::evt

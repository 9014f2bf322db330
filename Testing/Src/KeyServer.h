// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <set>
#include <string>
#include <vector>

#include "Mutex.h"

namespace hearthd::testing {

/// The X server and the key grabs of a test: keys that are grabbed come to the one window there is.
/// A key's code is its keysym, and that its place in the list of names. Any thread; m_mutex guards
/// everything.
class KeyServer {
public:
    struct Message {
        unsigned long keycode;
        unsigned long type;
    };

    /// Never destroyed: the proxy ends with the process.
    static KeyServer& Get();

    void Grab(const std::string& name);
    bool Ungrab(const std::string& name);

    /// False where nobody has grabbed the key.
    bool Send(const std::string& name, unsigned long type);

    // The proxy's thread.
    bool HasMessage();
    Message NextMessage();
    /// Null for what no message brings.
    const char* NameOf(unsigned long keysym);

private:
    KeyServer() = default;

    unsigned long CodeOf(const std::string& name) REQUIRES(m_mutex);

    marrow::base::Mutex m_mutex;
    std::set<std::string> m_grabbed GUARDED_BY(m_mutex);
    std::deque<std::string> m_names GUARDED_BY(m_mutex); // grows, and nothing in it moves
    std::deque<Message> m_messages GUARDED_BY(m_mutex);
};

} // namespace hearthd::testing

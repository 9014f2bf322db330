// SPDX-License-Identifier: Apache-2.0
#include "KeyServer.h"

#include <algorithm>

namespace hearthd::testing {

using marrow::base::MutexLock;

KeyServer& KeyServer::Get() {
    static auto* const server = new KeyServer;
    return *server;
}

void KeyServer::Grab(const std::string& name) {
    const MutexLock lock(m_mutex);
    m_grabbed.insert(name);
}

bool KeyServer::Ungrab(const std::string& name) {
    const MutexLock lock(m_mutex);
    return m_grabbed.erase(name) != 0;
}

bool KeyServer::Send(const std::string& name, unsigned long type) {
    const MutexLock lock(m_mutex);
    if (!m_grabbed.contains(name)) {
        return false;
    }
    m_messages.push_back({CodeOf(name), type});
    return true;
}

bool KeyServer::HasMessage() {
    const MutexLock lock(m_mutex);
    return !m_messages.empty();
}

KeyServer::Message KeyServer::NextMessage() {
    const MutexLock lock(m_mutex);
    const Message message = m_messages.front();
    m_messages.pop_front();
    return message;
}

const char* KeyServer::NameOf(unsigned long keysym) {
    const MutexLock lock(m_mutex);
    return keysym == 0 || keysym > m_names.size() ? nullptr : m_names[keysym - 1].c_str();
}

// From 1: 0 is NoSymbol.
unsigned long KeyServer::CodeOf(const std::string& name) {
    auto found = std::find(m_names.begin(), m_names.end(), name);
    if (found == m_names.end()) {
        found = m_names.insert(m_names.end(), name);
    }
    return static_cast<unsigned long>(found - m_names.begin()) + 1;
}

} // namespace hearthd::testing

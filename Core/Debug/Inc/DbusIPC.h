// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "IIPC.h"
#include "Mutex.h"
#include "TCServer.h"

namespace marrow::dbg {

/// The debug shell's D-Bus channel: a server of its own beside the message router. A message names
/// its command under the key COMMAND_TAG, and the command's answer is the reply.
///
/// Messages are handled on the endpoint's dispatching thread. m_messengers has no lock: commands
/// register before the main loop starts and messages of a tag only read the map, which keeps the
/// two apart.
class DbusIPC : public IIPC, public Quill::TCServer {
public:
    static const char* DBUS_SERVER_NAME;
    static const char* DBUS_DESTINATION_NAME; ///< whom SendSyncMessage addresses
    static const char* COMMAND_TAG;           ///< the key whose value is the command's tag

    /// The process's one channel.
    static DbusIPC* Get();

    /// Goes on the bus.
    DbusIPC();
    /// Leaves the bus. Messengers that are still there aren't deleted.
    ~DbusIPC() override;

    void DeleteMessenger(std::string& tag) override;
    Messenger* GetMessenger(const std::string& tag) override;
    /// Enters the tag in the caller's message too. Blocks until the peer has answered.
    Quill::TCMessage SendSyncMessage(std::string& tag, Quill::TCMessage& message) override;

    /// Returns 0, and leaves `reply` as it is, for a message whose tag is missing or unknown. Where
    /// the tag, or what a command reads as text, is an array or an object, jsoncpp throws and the
    /// process ends: this channel is root's alone.
    int IfMessageReceived(const char* sender, const Quill::TCMessage* message,
                          Quill::TCMessage* reply, const char* signal) override;

private:
    Messenger* FindMessenger(const std::string& tag) const;

    std::map<std::string, Messenger*> m_messengers; // owned

    static DbusIPC* m_instance GUARDED_BY(m_instanceMutex);
    static base::Mutex m_instanceMutex;
};

} // namespace marrow::dbg

// SPDX-License-Identifier: Apache-2.0
#include "DbusIPC.h"

#include "Log.h"
#include "Messenger.h"

namespace marrow::dbg {

using Quill::TCMessage;

const char* DbusIPC::DBUS_SERVER_NAME = "debugshell_C";
const char* DbusIPC::DBUS_DESTINATION_NAME = "marrow.ser.server.MessageRouter.debugshell_S";
const char* DbusIPC::COMMAND_TAG = "org.norvane.services.debugshell.command.tag";

DbusIPC* DbusIPC::m_instance = nullptr;
base::Mutex DbusIPC::m_instanceMutex;

DbusIPC* DbusIPC::Get() {
    LOGD("Get object instance");
    const base::MutexLock lock(m_instanceMutex);
    if (m_instance == nullptr) {
        LOGD("Create object");
        m_instance = new DbusIPC;
    }
    return m_instance;
}

DbusIPC::DbusIPC() : TCServer(DBUS_SERVER_NAME, CLIENT) {
    LOGD("Registered dbus server: %s", DBUS_SERVER_NAME);
    CreateDBusServer();
}

DbusIPC::~DbusIPC() {
    CloseDBusServer();
}

void DbusIPC::DeleteMessenger(std::string& tag) {
    const auto found = m_messengers.find(tag);
    if (found != m_messengers.end()) {
        delete found->second;
        m_messengers.erase(found);
    }
}

Messenger* DbusIPC::GetMessenger(const std::string& tag) {
    LOGD("Registering messenger for command: %s", tag.c_str());
    Messenger*& messenger = m_messengers[tag];
    if (messenger == nullptr) {
        LOGD("Messenger does not exist. Creating new");
        messenger = new Messenger(tag, this);
    }
    return messenger;
}

TCMessage DbusIPC::SendSyncMessage(std::string& tag, TCMessage& message) {
    LOGD("Message send command: %s, destination: %s", tag.c_str(), DBUS_DESTINATION_NAME);
    TCMessage reply;
    message.payload[COMMAND_TAG] = tag;
    const int result = SendMessage(DBUS_DESTINATION_NAME, &message, true, &reply);
    LOGD("Message send result %d", result);
    return reply;
}

int DbusIPC::IfMessageReceived(const char* /*sender*/, const TCMessage* message, TCMessage* reply,
                               const char* /*signal*/) {
    LOGD("Message received");
    if (!message->payload.isMember(COMMAND_TAG)) {
        LOGW("Command tag is missing");
        return 0;
    }
    const std::string tag = message->payload[COMMAND_TAG].asString();
    LOGD("Received command tag: %s", tag.c_str());
    Messenger* const messenger = FindMessenger(tag);
    if (messenger == nullptr) {
        LOGD("There is no subscription for command tag: %s", tag.c_str());
        return 0;
    }
    TCMessage copy(*message); // a command may change what it gets
    *reply = messenger->HandleMessage(copy);
    return 1;
}

// On the dispatching thread, and with no lock against GetMessenger.
Messenger* DbusIPC::FindMessenger(const std::string& tag) const {
    const auto found = m_messengers.find(tag);
    return found == m_messengers.end() ? nullptr : found->second;
}

} // namespace marrow::dbg

// SPDX-License-Identifier: Apache-2.0
#include "ICommand.h"

#include "DbusIPC.h"
#include "Log.h"
#include "Messenger.h"
#include "StreamIPC.h"

namespace marrow::dbg {

// Who derives from it is compiled against this signature.
// NOLINTNEXTLINE(modernize-pass-by-value)
ICommand::ICommand(const std::string& tag) : m_commandTag(tag) {}

ICommand::~ICommand() = default;

// The pipe comes ahead of D-Bus, and reading begins when both know the command.
void ICommand::Register(ICommand* command) {
    const std::string& tag = command->m_commandTag;
    LOGD("Registering message handle object and member function: %s", tag.c_str());
    StreamIPC::Get()->GetMessenger(tag)->Register(command);
    DbusIPC::Get()->GetMessenger(tag)->Register(command);
    StreamIPC::Get()->Start();
}

void ICommand::UnRegister(ICommand* command) {
    std::string& tag = command->m_commandTag;
    LOGD("Unregistering message handle object and member function: %s", tag.c_str());
    StreamIPC* const stream = StreamIPC::Get();
    stream->GetMessenger(tag)->Unregister(command);
    stream->DeleteMessenger(tag);
    DbusIPC* const dbus = DbusIPC::Get();
    dbus->GetMessenger(tag)->Unregister(command);
    dbus->DeleteMessenger(tag);
}

} // namespace marrow::dbg

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "APIWatchdog.h"
#include "DoubleModuleClass.h"
#include "IMessageHandler.h"
#include "IMessageRouter.h"
#include "Mutex.h"
#include "TCServer.h"

namespace marrow::msg {

/// The daemon's one D-Bus server: the messages of clients come in here and the services'
/// notifications go out.
///
/// Threads: the bus's dispatching thread asks where each message is to be handled, and handles
/// those that go to no worker; a service's worker handles the messages for that service, so that
/// its API runs on its own thread with no further hop; any thread may send notifications.
///
/// A process that crashes is looked up there, on the watchdog's worker.
///
/// m_pending names every message that has been accepted and hasn't finished, with its sender. Its
/// lock is held for the table alone, never across a call, so that the table can be read while a
/// service hangs.
class MessageRouter : public Quill::TCServer, public IMessageRouter, public IMessageHandler {
public:
    static const char* DBUS_PRIVATE_NAME;
    static DoubleModuleClass CLASS;

    /// Goes on the bus.
    MessageRouter();
    ~MessageRouter() override;

    bool IfTransferMessage(const char* sender, const Quill::TCMessage* message,
                           Quill::TCEventIO*& target) override;
    int IfMessageReceived(const char* sender, const Quill::TCMessage* message,
                          Quill::TCMessage* reply, const char* signal) override;

    Quill::TCMessage Route(const std::string& serviceName, bool blocking,
                           const Quill::TCMessage& message) override;
    Quill::TCMessage OnMessage(const Quill::TCMessage& message, bool blocking) override;
    void SendNotification(Quill::TCMessage message) override;
    void Init() override;

    /// Called with the id of a process that has crashed: where one of its calls is in delivery
    /// here, every thread dumps its stack. The calls are left alone.
    void WatchdogCheckCb(std::string pid);

private:
    base::Mutex m_pendingMutex;
    // The keys stay valid: a message lives until IfMessageReceived has returned.
    std::map<const Quill::TCMessage*, std::string> m_pending GUARDED_BY(m_pendingMutex);
    APIWatchdog m_watchdog;
};

} // namespace marrow::msg

// SPDX-License-Identifier: Apache-2.0

// The road of a message. The bus asks IfTransferMessage on its dispatching thread: for a started
// service the answer is the service's worker, and in all cases the message is entered as pending.
// The bus then calls IfMessageReceived on that worker's thread, or on its own. From there OnMessage
// and Route lead to the service's control, which refuses or calls; the answer goes back up, an
// empty one to a call becomes "Delivery failed", and the entry is erased.
//
// Asking a service for its state waits for the call that it is in: a second message for a busy
// service holds up the dispatching thread until that call has ended. The first one stands in the
// table all the while.

#include "MessageRouter.h"

#include <regex>

#include "IServiceControl.h"
#include "IServiceManager.h"
#include "Log.h"
#include "ModuleAccessor.h"
#include "StyledText.h"
#include "Worker.h"

namespace marrow::msg {

using base::MutexLock;
using mgr::IServiceControl;
using Quill::TCEventIO;
using Quill::TCMessage;

namespace {

const char* const CLIENT_NAME_PATTERN = R"(marrow.ser.client.PID_(\d+))";
const char* const ROUTER_SIGNAL = "marrow_ser_server_MRSignal__";
const char* const ERROR_KEY = "return_error";
const char* const DELIVERY_FAILED = "Delivery failed";

IServiceControl* FindService(const std::string& name) {
    return ModuleAccessor<mgr::IServiceManager>::Get()->GetServiceByName(name);
}

} // namespace

const char* MessageRouter::DBUS_PRIVATE_NAME = "marrow.ser.server.MessageRouter";
DoubleModuleClass MessageRouter::CLASS("NonBlocking_MessageRouter");

MessageRouter::MessageRouter()
    : TCServer(DBUS_PRIVATE_NAME, SERVER),
      m_watchdog([this](std::string pid) { WatchdogCheckCb(std::move(pid)); }) {
    CreateDBusServer();
    SubscribeSignal(nullptr, ROUTER_SIGNAL, nullptr, nullptr);
}

MessageRouter::~MessageRouter() {
    UnSubscribeSignal(nullptr, ROUTER_SIGNAL);
    CloseDBusServer();
}

bool MessageRouter::IfTransferMessage(const char* sender, const TCMessage* message,
                                      TCEventIO*& target) {
    bool transfer = false;
    IServiceControl* const service = FindService(message->subject);
    if (service != nullptr && service->GetState() == IServiceControl::ServiceState::STARTED) {
        // The raw pointer may outlive the last reference: whoever queues the message looks whether
        // the worker still is there.
        target = service->GetWorker().get();
        transfer = target != nullptr;
    } else {
        LOGW("Service does not exist or is not started");
    }
    const MutexLock lock(m_pendingMutex);
    LOGI("%d pending messages", static_cast<int>(m_pending.size()));
    m_pending[message] = sender;
    return transfer;
}

int MessageRouter::IfMessageReceived(const char* sender, const TCMessage* message, TCMessage* reply,
                                     const char* signal) {
    LOGI("DBUS Message received from %s", sender);
    const bool blocking = signal == nullptr;
    TCMessage result = OnMessage(*message, blocking);
    if (blocking) {
        *reply = std::move(result);
        if (reply->payload.empty()) {
            reply->payload = Json::objectValue; // an array without elements takes no key
            reply->payload[ERROR_KEY] = DELIVERY_FAILED;
        }
    } else {
        LOGI("Signal %s sent to router", signal);
    }
    const MutexLock lock(m_pendingMutex);
    m_pending.erase(message);
    return 1;
}

TCMessage MessageRouter::OnMessage(const TCMessage& message, bool blocking) {
    const std::string serviceName = message.subject;
    return Route(serviceName, blocking, message);
}

// A signal is delivered as a call is: what becomes of the answer is the caller's affair.
TCMessage MessageRouter::Route(const std::string& serviceName, bool /*blocking*/,
                               const TCMessage& message) {
    IServiceControl* const service = FindService(serviceName);
    if (service == nullptr) {
        LOGW("Delivery error. No Service with name %s", serviceName.c_str());
        return {};
    }
    LOGI("Calling [%s] API with data :\n%s\n", serviceName.c_str(),
         StyledText(message.payload, LogRoom(DLOG_INFO)).c_str());
    return service->CallAPI(message);
}

void MessageRouter::SendNotification(TCMessage message) {
    const std::string signal = ROUTER_SIGNAL + message.subject;
    SendSignal(DBUS_PRIVATE_NAME, signal.c_str(), &message);
}

void MessageRouter::Init() {}

// The lock is held through PrintInfo, which only sends signals: what is printed is what was pending
// when the threads were asked. The dots of the pattern match any byte.
void MessageRouter::WatchdogCheckCb(std::string pid) {
    LOGI("Watchdog callback executed for %s", pid.c_str());
    const std::regex client(CLIENT_NAME_PATTERN);
    bool callerCrashed = false;
    const MutexLock lock(m_pendingMutex);
    for (const auto& [message, sender] : m_pending) {
        LOGI("Pending messge: from %s to %s", sender.c_str(), message->subject.c_str());
        std::smatch match;
        if (!std::regex_match(sender, match, client)) {
            LOGW("Message from unknown sender: %s", sender.c_str());
        } else if (match[1] == pid) {
            callerCrashed = true;
        }
    }
    if (callerCrashed) {
        LOGW("API caller crashed");
        m_watchdog.PrintInfo();
    }
}

} // namespace marrow::msg

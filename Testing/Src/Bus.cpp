// SPDX-License-Identifier: Apache-2.0

// A call takes the road that it takes through the bus library. The router is asked on the
// dispatching thread, which waits where the service is busy; where it names a worker the message is
// delivered there, else on the dispatching thread. A caller that gives up leaves the message to the
// job that holds it.

#include "Bus.h"

#include <cerrno>

#include "IMessageRouter.h"
#include "MessageRouter.h"
#include "ModuleAccessor.h"
#include "Post.h"
#include "TCEvent.h"
#include "WorkerFactory.h"

using marrow::base::MutexLock;
using marrow::msg::MessageRouter;
using Quill::TCMessage;

namespace hearthd::testing {

namespace {

constexpr const char* DISPATCHER = "quill-dispatch";
constexpr const char* CLIENT = "marrow.ser.client.PID_0"; // nobody's process

struct PendingCall {
    TCMessage message;
    TCMessage reply; // the worker's until the flag is set
    marrow::base::Mutex mutex;
    marrow::base::Condition answered;
    bool isAnswered GUARDED_BY(mutex) = false;
};

MessageRouter& Router() {
    return dynamic_cast<MessageRouter&>(*ModuleAccessor<marrow::msg::IMessageRouter>::Get());
}

void Deliver(PendingCall& call) {
    Router().IfMessageReceived(CLIENT, &call.message, &call.reply, nullptr);
    const MutexLock lock(call.mutex);
    call.isAnswered = true;
    call.answered.NotifyAll();
}

void Dispatch(const std::shared_ptr<PendingCall>& call) {
    Quill::TCEventIO* target = nullptr;
    if (Router().IfTransferMessage(CLIENT, &call->message, target) && target != nullptr) {
        auto* const job = new marrow::ser::Job([call] { Deliver(*call); });
        job->SetOwner(target);
        Quill::TCEvent event;
        event.handler = job;
        if (Quill::TCEventIO::SendEvent(&event)) {
            return;
        }
    }
    Deliver(*call);
}

} // namespace

Bus& Bus::Get() {
    static auto* const bus = new Bus;
    return *bus;
}

Bus::Bus() : m_dispatcher(marrow::ser::WorkerFactory::Get().GetWorker(DISPATCHER)) {}

int Bus::Call(const TCMessage& message, std::chrono::milliseconds limit, TCMessage& reply) {
    if (!message.payload.isNull() && !message.payload.isObject()) {
        return -EREMOTEIO;
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const auto call = std::make_shared<PendingCall>();
    call->message = message;
    Post(*m_dispatcher, [call] { Dispatch(call); });
    const MutexLock lock(call->mutex);
    while (!call->isAnswered) {
        if (!call->answered.WaitUntil(call->mutex, deadline) && !call->isAnswered) {
            return -ETIMEDOUT;
        }
    }
    reply = call->reply;
    return 0;
}

void Bus::PassDispatcher() {
    RunOn(*m_dispatcher, [] {});
}

void Bus::Publish(const TCMessage& notification) {
    const MutexLock lock(m_mutex);
    for (const Listener* listener : m_listeners) {
        (*listener)(notification);
    }
}

void Bus::Listen(const Listener* listener) {
    const MutexLock lock(m_mutex);
    m_listeners.push_back(listener);
}

void Bus::Leave(const Listener* listener) {
    const MutexLock lock(m_mutex);
    std::erase(m_listeners, listener);
}

} // namespace hearthd::testing

// SPDX-License-Identifier: Apache-2.0

// The hand-over is the one of Service, told there. Two things differ. Nothing is logged when the
// wait times out. And the reply carries no call's identity: a call that was given up still writes
// it when it ends, and its signal may wake a newer caller, who then returns that reply.

#include "ServiceProxy.h"

#include <utility>

#include "HandOverLimit.h"
#include "IMessageHandler.h"
#include "ModuleAccessor.h"
#include "WorkerFactory.h"

namespace marrow::ser {

using Quill::TCMessage;

ServiceProxy::ServiceProxy(std::string name) : m_name(std::move(name)) {
    g_mutex_init(&m_handOverMutex);
    g_cond_init(&m_handOverCondition);
    m_worker = WorkerFactory::Get().GetWorker(m_name);
}

ServiceProxy::~ServiceProxy() {
    g_mutex_clear(&m_handOverMutex);
    g_cond_clear(&m_handOverCondition);
    m_worker.reset(); // ahead of the reply and the name
}

TCMessage ServiceProxy::CallAPI(const TCMessage& message) {
    const base::MutexLock lock(m_callMutex);
    const std::shared_ptr<Worker> worker = m_worker;
    if (Worker::IsCurrentWorker(worker)) {
        _callAPI(message);
        return m_reply;
    }
    g_mutex_lock(&m_handOverMutex);
    Job* job = new Job([this, own = message]() mutable { _callAPI(std::move(own)); });
    worker->Do(job);
    const bool signalled =
        g_cond_wait_until(&m_handOverCondition, &m_handOverMutex, HandOverDeadline()) != FALSE;
    g_mutex_unlock(&m_handOverMutex);
    return signalled ? m_reply : TCMessage();
}

void ServiceProxy::_callAPI(TCMessage message) {
    m_reply = OnCallAPI(message);
    g_mutex_lock(&m_handOverMutex);
    g_cond_signal(&m_handOverCondition);
    g_mutex_unlock(&m_handOverMutex);
}

void ServiceProxy::SendNotification(const TCMessage& message) {
    msg::IMessageHandler* const handler = ModuleAccessor<msg::IMessageHandler>::Get();
    const std::shared_ptr<Worker> worker = m_worker;
    if (Worker::IsCurrentWorker(worker)) {
        handler->SendNotification(message);
        return;
    }
    Job* job =
        new Job([handler, own = message]() mutable { handler->SendNotification(std::move(own)); });
    worker->Do(job);
}

} // namespace marrow::ser

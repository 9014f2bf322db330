// SPDX-License-Identifier: Apache-2.0

// The hand-over. The caller queues a job on the worker and waits for a signal on a condition. It
// holds the hand-over mutex from before the job is queued until it waits, so that the worker, which
// takes the mutex to signal, cannot signal too early. One wait decides, with no predicate and no
// loop: a wake-up for no reason counts as the signal, and the result is taken as it stands then.
// Nothing withdraws the job when the wait times out; it sets the result and the flag whenever it
// ends, so that a Start which reported failure may leave the service started a moment later.

#include "Service.h"

#include "HandOverLimit.h"
#include "Log.h"
#include "WorkerFactory.h"

namespace marrow::ser {

using base::MutexLock;

thread_local Service* Service::instance = nullptr;

Service::Service(std::string name) : m_name(std::move(name)) {
    g_mutex_init(&m_handOverMutex);
    g_cond_init(&m_handOverCondition);
    m_worker = WorkerFactory::Get().GetWorker(m_name);
    // Derived parts of this object may still be under construction when this job runs: it stores
    // the pointer and nothing else.
    Job* job = new Job([this] { _set_current_service(this); });
    m_worker->Do(job);
}

Service::~Service() {
    g_mutex_clear(&m_handOverMutex);
    g_cond_clear(&m_handOverCondition);
}

bool Service::Start() {
    const MutexLock lock(m_stateMutex);
    if (m_started) {
        return true;
    }
    LOGI("Starting service['%s']", m_name.c_str());
    return HandOver(&Service::_start);
}

bool Service::Stop() {
    const MutexLock lock(m_stateMutex);
    if (!m_started) {
        return true;
    }
    LOGI("Stopping service['%s']", m_name.c_str());
    return HandOver(&Service::_stop);
}

bool Service::IsStarted() {
    const MutexLock lock(m_stateMutex);
    return m_started;
}

std::shared_ptr<Worker> Service::GetWorker() {
    return m_worker;
}

Service* Service::GetCurrent() {
    return instance;
}

void Service::_set_current_service(Service* service) {
    instance = service;
}

bool Service::HandOver(void (Service::*work)()) {
    const std::shared_ptr<Worker> worker = m_worker;
    if (Worker::IsCurrentWorker(worker)) {
        (this->*work)();
        return m_result;
    }
    g_mutex_lock(&m_handOverMutex);
    Job* job = new Job([this, work] { (this->*work)(); });
    worker->Do(job);
    const bool signalled =
        g_cond_wait_until(&m_handOverCondition, &m_handOverMutex, HandOverDeadline()) != FALSE;
    g_mutex_unlock(&m_handOverMutex);
    if (signalled) {
        return m_result;
    }
    LOGE("Timeout %d seconds occured!", HAND_OVER_LIMIT_SECONDS);
    return false;
}

void Service::_start() {
    m_result = OnStart();
    g_mutex_lock(&m_handOverMutex);
    if (m_result) {
        m_started = true;
    }
    g_cond_signal(&m_handOverCondition);
    g_mutex_unlock(&m_handOverMutex);
}

void Service::_stop() {
    m_result = OnStop();
    g_mutex_lock(&m_handOverMutex);
    if (m_result) {
        m_started = false;
    }
    g_cond_signal(&m_handOverCondition);
    g_mutex_unlock(&m_handOverMutex);
}

} // namespace marrow::ser

// SPDX-License-Identifier: Apache-2.0
#include "Worker.h"

#include <utility>

#include "Log.h"
#include "TCEvent.h"

namespace marrow::ser {

namespace {

const std::string EVENT_QUEUE_SUFFIX = "_tceventio";
// Several services may share one worker, and hosted code is used to a roomy stack.
constexpr unsigned long STACK_KIB = 4096;

} // namespace

thread_local Worker* Worker::local_worker = nullptr;

Worker::Worker(std::string name)
    : Quill::TCTask((name + EVENT_QUEUE_SUFFIX).c_str()), m_name(std::move(name)) {}

Worker::~Worker() {
    LOGI("~Worker[%s]", m_name.c_str());
}

void Worker::InitWorker(std::string threadName) {
    Create(threadName.c_str(), true, STACK_KIB);
    // The first in the queue: no other job runs before local_worker is set.
    Job* job = new Job([this] { SetLocalWorker(this); });
    Do(job);
}

void Worker::Do(Job*& job) {
    LOGI("Worker[%p][%s] adds to queue new job[%p]", static_cast<void*>(this), m_name.c_str(),
         static_cast<void*>(job));
    job->SetOwner(this);
    Quill::TCEvent event;
    event.handler = std::exchange(job, nullptr);
    SendEvent(&event);
}

std::string Worker::GetName() {
    return m_name;
}

void Worker::SetLocalWorker(Worker* worker) {
    LOGI("SetLocalWorker = %p", static_cast<void*>(worker));
    local_worker = worker;
}

bool Worker::IsCurrentWorker(std::shared_ptr<Worker> worker) {
    return worker.get() == local_worker;
}

} // namespace marrow::ser

// SPDX-License-Identifier: Apache-2.0
#include "Job.h"

#include "Log.h"
#include "Probe.h"

namespace marrow::ser {

Job::Job(std::function<void()> work) : m_work(std::move(work)) {}

Job::~Job() = default;

void Job::SetOwner(Quill::TCEventIO* queue) {
    owner = queue;
}

bool Job::t_OnEvent(const Quill::TCEvent* /*event*/) {
    LOGI("Executing job[%p]", static_cast<void*>(this));
    HEARTHD_PROBE(hearthd, job_begun, this);
    m_work();
    return true;
}

void Job::t_Clear(Quill::TCEvent* /*event*/) {
    delete this;
}

} // namespace marrow::ser

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "IListenable.h"
#include "Job.h"
#include "Probe.h"
#include "Worker.h"

namespace marrow::evt {

/// How every proxy delivers: a job with a copy of the event, queued on the worker that the listener
/// names. No listener runs on the thread that an event arrives on. There must be one.
template <typename T>
void Deliver(typename IListenable<T>::IListener* listener, const T& event) {
    auto job = std::make_unique<ser::Job>([listener, event] {
        HEARTHD_PROBE(hearthd, event_delivered, listener);
        listener->OnEvent(event);
    });
    const std::shared_ptr<ser::Worker> worker = listener->GetWorker();
    ser::Job* queued = job.release();
    HEARTHD_PROBE(hearthd, event_queued, queued, listener);
    worker->Do(queued);
}

} // namespace marrow::evt

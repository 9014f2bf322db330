// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <future>
#include <utility>

#include "Job.h"
#include "Worker.h"

namespace hearthd::testing {

/// Queues `work` on the worker.
inline void Post(marrow::ser::Worker& worker, std::function<void()> work) {
    auto* job = new marrow::ser::Job(std::move(work));
    worker.Do(job);
}

/// Has `work` run there, behind what is queued, and waits for its end.
inline void RunOn(marrow::ser::Worker& worker, const std::function<void()>& work) {
    std::promise<void> done;
    Post(worker, [&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

} // namespace hearthd::testing

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <pthread.h>
#include <string>

#include "CountThreads.h"
#include "Gate.h"
#include "Job.h"
#include "Worker.h"

/// Queues `work` on the worker.
inline void Post(const std::shared_ptr<marrow::ser::Worker>& worker, std::function<void()> work) {
    auto* job = new marrow::ser::Job(std::move(work));
    worker->Do(job);
}

/// Has `work` run on the worker, behind what is queued there, and waits for its end; false when
/// that takes too long. The gate is shared with the job, so that a job that is late finds it.
inline bool RunOn(
    const std::shared_ptr<marrow::ser::Worker>& worker, std::function<void()> work = [] {}) {
    const auto done = std::make_shared<Gate>();
    Post(worker, [done, work = std::move(work)] {
        work();
        done->Open();
    });
    return done->Wait();
}

/// The kernel's name of the calling thread: 15 bytes at most.
inline std::string ThreadName() {
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

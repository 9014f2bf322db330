// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <pthread.h>
#include <string>

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

/// How many threads of this process bear that name now.
inline int CountThreads(const std::string& name) {
    int count = 0;
    std::error_code gone; // threads may end while we look
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", gone)) {
        std::ifstream file(thread.path() / "comm");
        std::string line;
        count += std::getline(file, line) && line == name ? 1 : 0;
    }
    return count;
}

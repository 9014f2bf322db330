// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "Job.h"
#include "TCTask.h"

namespace marrow::ser {

/// A named thread that executes jobs, one at a time, in the order in which they were queued.
///
/// Do, GetName and IsCurrentWorker may be called on any thread; there is no lock here, because the
/// queue has its own and the name never changes. Workers are made and ended by WorkerFactory alone;
/// everyone else holds the shared pointer that it gives out.
class Worker : public Quill::TCTask, public std::enable_shared_from_this<Worker> {
public:
    /// No thread starts yet.
    explicit Worker(std::string name);
    /// The thread has ended before: WorkerFactory sees to it.
    ~Worker() override;

    /// Starts the thread, and queues the job that makes IsCurrentWorker true there. Doesn't wait.
    void InitWorker(std::string threadName);

    /// Queues `job`, takes it over and clears the caller's pointer. Returns at once, also on the
    /// worker's own thread. `job` isn't null. There is no limit on the queue and none on the time
    /// that a job takes.
    void Do(Job*& job);

    std::string GetName();

    /// The first job's work: says on its own thread which worker this thread belongs to.
    void SetLocalWorker(Worker* worker);

    /// Whether the calling thread is the thread of `worker`. An empty pointer is "no worker", which
    /// is what every other thread is.
    static bool IsCurrentWorker(std::shared_ptr<Worker> worker);

private:
    std::string m_name;

    static thread_local Worker* local_worker;
};

} // namespace marrow::ser

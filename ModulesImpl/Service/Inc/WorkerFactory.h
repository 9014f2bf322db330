// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <string>

#include "Mutex.h"
#include "Worker.h"

namespace marrow::ser {

/// The workers of the process by name. All users of one name share one worker and its thread.
///
/// A thread cannot wait for its own end, and the last user of a worker may stand on that very
/// worker. So the end of every worker is carried out by a private one, the cleaner: it ends the
/// thread and deletes the object, one worker after the other.
///
/// Any thread. The lock guards the list and is held while a worker is made, so that two first users
/// of a name get one worker. It isn't held while the cleaner is given its job.
class WorkerFactory {
public:
    static WorkerFactory& Get();

    WorkerFactory(const WorkerFactory&) = delete;
    WorkerFactory& operator=(const WorkerFactory&) = delete;

    /// The worker of that name; it is made if there is none. Throws std::bad_weak_ptr where the
    /// last user of that worker is letting go of it at this very moment.
    std::shared_ptr<Worker> GetWorker(std::string name);

    /// For GetWorker: looks through the list, with the lock held by the caller.
    Worker* FindWorker(std::string name) REQUIRES(m_mutex);

    /// Takes `worker` off the list and has the cleaner end it. For WorkerDeleter.
    void DeleteWorker(Worker* worker);

    /// Ends and deletes `worker`, on the cleaner's thread.
    void CleanWorker(Worker* worker);

    /// Always empty: the list of workers isn't given out.
    std::list<std::shared_ptr<Worker>> GetWorkersList();

    /// What the last shared reference to a worker calls.
    struct WorkerDeleter {
        void operator()(Worker* worker) const;
    };

private:
    WorkerFactory();
    /// Ends the cleaner. Workers that are still in use are left as they are.
    ~WorkerFactory();

    Worker* m_cleaner;                                // owned, never null
    std::list<Worker*> m_workers GUARDED_BY(m_mutex); // not owned; the cleaner isn't among them
    base::Mutex m_mutex;
};

} // namespace marrow::ser

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include <glib.h>

#include "IService.h"
#include "Mutex.h"
#include "Worker.h"

namespace marrow::ser {

/// Base class of every hosted service. A service derives from it and implements OnStart and OnStop,
/// which always run on the service's worker, whichever thread asks for the start or the stop.
///
/// Start, Stop, IsStarted and GetWorker may be called on any thread. The state lock is held for the
/// whole of a Start or a Stop and serialises them; the hand-over mutex, inside it, is for the
/// condition on which the caller waits for the worker. The flag and the result are written by the
/// worker and read by the caller behind the hand-over's signal; a job that ends after its caller
/// has given up writes them with nobody waiting, so both are atomic.
class Service : public IService {
public:
    /// `name` is also the name of the service's worker: services of one name share a thread.
    explicit Service(std::string name);
    /// Neither stops the service nor ends its worker's other users.
    ~Service() override;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Has OnStart run on the worker and returns its result; at once true where the service is
    /// started. Waits 10 seconds at the most (on the worker itself as long as it takes, and not in
    /// OnStart or OnStop, which it would wait for) and then returns false, with a line in the log;
    /// OnStart isn't interrupted, and the service counts as started when it returns true after all.
    bool Start() override;
    /// The mirror image, with OnStop.
    bool Stop() override;
    /// Waits while a Start or a Stop is going on: not from OnStart or OnStop.
    bool IsStarted() override;
    std::shared_ptr<Worker> GetWorker() override;

    /// The service whose worker the calling thread is; null on every other thread.
    static Service* GetCurrent();
    static void _set_current_service(Service* service);

    // The worker's side of Start and Stop.
    void _start();
    void _stop();

protected:
    /// Starts the service. True means that it has started. An exception ends the daemon.
    virtual bool OnStart() = 0;
    /// Stops it. With false it stays started.
    virtual bool OnStop() = 0;

private:
    bool HandOver(void (Service::*work)()) REQUIRES(m_stateMutex);

    std::string m_name;
    std::atomic<bool> m_started{false};
    base::Mutex m_stateMutex;
    GMutex m_handOverMutex;
    GCond m_handOverCondition;
    std::atomic<bool> m_result{false};
    std::shared_ptr<Worker> m_worker;

    static thread_local Service* instance;
};

static_assert(sizeof(std::atomic<bool>) == sizeof(bool));

} // namespace marrow::ser

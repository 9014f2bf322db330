// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include <glib.h>

#include "IServiceProxy.h"
#include "Mutex.h"
#include "Worker.h"

namespace marrow::ser {

/// Base class of every service's API: a service derives from it and implements OnCallAPI.
///
/// Any thread. The call lock is held for a whole CallAPI, so that one call at a time passes through
/// and others wait; the hand-over mutex stands inside it. SendNotification takes neither.
class ServiceProxy : public IServiceProxy {
public:
    /// `name` is the name of the proxy's worker. With the name of the service OnCallAPI, OnStart
    /// and OnStop share a thread and never overlap.
    explicit ServiceProxy(std::string name);
    ~ServiceProxy() override;
    ServiceProxy(const ServiceProxy&) = delete;
    ServiceProxy& operator=(const ServiceProxy&) = delete;

    /// Has OnCallAPI run on the worker and returns its answer. Waits 10 seconds at the most for the
    /// worker, and for as long as earlier calls hold the lock; after that the answer is an empty
    /// message. OnCallAPI isn't interrupted, and what it returns late may be taken for the answer
    /// to a newer call. Not from OnCallAPI of the same proxy: it would wait for itself.
    Quill::TCMessage CallAPI(const Quill::TCMessage& message) override;

    /// Publishes `message` as the signal that its subject names. On the proxy's worker the signal
    /// is sent before this returns; from any other thread it is queued there.
    void SendNotification(const Quill::TCMessage& message) override;

    /// The worker's side of CallAPI.
    void _callAPI(Quill::TCMessage message);

protected:
    /// Serves a call. `message` is a copy of its own and may be changed; what is returned is the
    /// reply, and an empty payload counts as no answer. An exception ends the daemon.
    virtual Quill::TCMessage OnCallAPI(Quill::TCMessage& message) = 0;

private:
    std::string m_name;
    base::Mutex m_callMutex;
    GMutex m_handOverMutex;
    GCond m_handOverCondition;
    Quill::TCMessage m_reply; // written by the worker without a lock, read after its signal
    std::shared_ptr<Worker> m_worker;
};

} // namespace marrow::ser

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "Mutex.h"
#include "TCMessage.h"
#include "Worker.h"

namespace hearthd::testing {

/// What stands between clients and the daemon's router in a test: no bus, but a dispatching thread
/// as the bus's. Any thread. m_mutex guards the listeners, and is held while they are told.
class Bus {
public:
    using Listener = std::function<void(const Quill::TCMessage&)>;

    /// Never destroyed; there is a router when it is first asked for.
    static Bus& Get();

    /// A call, with the result of Quill::TCServer::SendMessage.
    int Call(const Quill::TCMessage& message, std::chrono::milliseconds limit,
             Quill::TCMessage& reply);
    /// Waits until every call so far is on its worker.
    void PassDispatcher();

    void Publish(const Quill::TCMessage& notification);
    void Listen(const Listener* listener);
    void Leave(const Listener* listener);

private:
    Bus();

    const std::shared_ptr<marrow::ser::Worker> m_dispatcher;
    marrow::base::Mutex m_mutex;
    std::vector<const Listener*> m_listeners GUARDED_BY(m_mutex); // not owned
};

} // namespace hearthd::testing

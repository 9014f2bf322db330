// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "BusConnection.h"
#include "TCHandler.h"
#include "TCMessage.h"

namespace Quill {

class Endpoint;

// One call or signal on its way to IfMessageReceived, be it on the dispatching thread or in the
// queue of a task. It owns the TCMessage that both callbacks see, and the right to answer the
// caller. A delivery that ends without having run answers with an error, so that nobody waits for
// a reply that can't come.
class Delivery final : public TCHandler {
public:
    Delivery(std::shared_ptr<Endpoint> endpoint, Incoming incoming, TCMessage message);
    ~Delivery() override;

    const char* Sender() const { return m_incoming.sender.c_str(); }
    const TCMessage* Message() const { return &m_message; }
    /// For tracing.
    const void* Id() const { return m_incoming.message.Id(); }

    /// Calls IfMessageReceived on this thread and answers the caller.
    void Run();

    bool t_OnEvent(const TCEvent* event) override;
    void t_Clear(TCEvent* event) override;

private:
    bool IsCall() const { return m_incoming.kind == Incoming::Kind::CALL; }
    const char* SignalName() const;
    void Answer(const TCMessage& reply);

    const std::shared_ptr<Endpoint> m_endpoint;
    Incoming m_incoming;
    const TCMessage m_message;
    bool m_finished = false;
};

} // namespace Quill

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "TCHandler.h"
#include "TCIOBase.h"

namespace Quill {

class EventQueue;
class LiveQueues;

/// An event queue with a serving loop. Events may come from any thread; they are served one at a
/// time, in the order of SendEvent, by the thread that runs the loop (TCTask has one).
class TCEventIO : public TCIOBase, public TCHandler {
public:
    /// `name` is for the log; it may be null.
    explicit TCEventIO(const char* name);
    ~TCEventIO() override;

    /// Puts a copy of `event` in the queue of `event->handler->owner`. Any thread, the serving one
    /// too. Never runs the handler on the calling thread.
    ///
    /// Ownership of the handler goes with the event. Where the queue has ended and takes nothing
    /// more, the handler gets t_Clear at once, on the calling thread, and the result is false.
    /// An event without handler or owner is refused with false and not touched.
    static bool SendEvent(TCEvent* event);

    /// The queue is a handler too, for events that are addressed to itself. The default does
    /// nothing and answers false.
    bool t_OnEvent(const TCEvent* event) override;

    /// Called on the serving thread, ahead of the first event. The thread ends when it answers
    /// false; the default answers true.
    virtual bool t_Init();

    /// Called on the serving thread, after the last event.
    virtual void t_Final();

    void t_Clear(TCEvent* event) override;

protected:
    /// Serves events until Close, and then what was queued before it.
    void Serve();
    /// From now on nothing is taken; Serve returns when the queue is empty.
    void Close();
    /// Clears what nobody will serve any more. After Close, with no thread in Serve.
    void Discard();
    const char* QueueName() const;

private:
    friend class LiveQueues;
    std::unique_ptr<EventQueue> m_queue;
};

} // namespace Quill

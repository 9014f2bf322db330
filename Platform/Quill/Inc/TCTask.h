// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "TCEventIO.h"

namespace Quill {

/// A named thread that serves its queue.
///
/// Create and Destroy belong to the task's owner and are called one after the other, by one thread
/// at a time. Destroy comes before the destructor; a destructor that finds the thread still running
/// ends it, but the parts of derived classes are gone by then.
class TCTask : public TCEventIO {
public:
    /// `name` names the queue in the log. No thread starts yet.
    explicit TCTask(const char* name);
    ~TCTask() override;

    /// Starts the thread. The kernel takes 15 bytes of `threadName`; the rest is cut. `joinable`
    /// must be true: Destroy waits for the thread. `stackKiB` is the size of the stack in KiB, 0
    /// for the system's default. Returns false where it starts no thread, and says why in the log,
    /// unless t_Create has done so. Not after a Destroy: what has ended takes no events any more.
    bool Create(const char* threadName, bool joinable, unsigned long stackKiB);

    /// Ends the thread: what was queued before the call is served, where the thread ran, whatever
    /// is sent later is refused. Returns when the thread has ended. Not on the task's own thread:
    /// that is refused with a line in the log.
    void Destroy();

    /// Called by Create ahead of the thread's start; false keeps it from starting. The default
    /// answers true.
    virtual bool t_Create();

    /// The thread's body. The default serves the queue.
    virtual void t_Main();

    /// Called by Destroy after the thread's end. The default does nothing.
    virtual void t_Destroy();

    /// Called on the thread between t_Init and the first event, for tasks that watch something
    /// beside their queue. The default does nothing.
    virtual void t_AddIO();

private:
    class Thread;
    std::unique_ptr<Thread> m_thread;
};

} // namespace Quill

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace marrow::ser {
class Worker;
}

namespace marrow::evt {

/// A source of events of the type T, which every proxy of the platform's event sources is.
template <typename T>
class IListenable {
public:
    /// What a hosted service implements to receive events. The sources keep the plain pointer: a
    /// listener unsubscribes before it goes, and takes the events that were queued before that.
    class IListener {
    public:
        /// The worker on which OnEvent is to run; never null. Called on the thread that the event
        /// arrives on, with the source's lock held (but for a section's): cheap, thread-safe, and
        /// without a call of the source.
        virtual std::shared_ptr<ser::Worker> GetWorker() = 0;

        /// One event, on that worker; the copy is the listener's. Events come in the order in which
        /// they arrived.
        virtual void OnEvent(T event) = 0;

    protected:
        IListener() = default;
        IListener(const IListener&) = default;
        IListener& operator=(const IListener&) = default;
        ~IListener() = default; // nobody deletes a listener through this
    };

    IListenable() = default;
    virtual ~IListenable() = default;
    IListenable(const IListenable&) = delete;
    IListenable& operator=(const IListenable&) = delete;
};

} // namespace marrow::evt

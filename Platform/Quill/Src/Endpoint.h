// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "BusConnection.h"
#include "CallbackGate.h"
#include "Mutex.h"
#include "SenderTurns.h"
#include "TCServer.h"

namespace Quill {

// The works of a TCServer.
//
// One dispatching thread takes messages off the connection, more of them than it acts on at once,
// so that senders can take turns. It decodes the one whose turn it is and either queues it with the
// task that IfTransferMessage names or delivers it itself. Deliveries keep the endpoint and their
// connection alive, so that both may outlast the TCServer; the gate keeps them from calling into a
// server that has closed.
//
// m_mutex guards what other threads ask for: the present connection and the list of subscriptions.
// It is never held across a callback or a wait for the bus. When the connection breaks the
// dispatching thread drops it, and makes a new one with growing pauses; a delivery that belongs to
// the old one ends as ever, and its answer goes nowhere.
class Endpoint : public std::enable_shared_from_this<Endpoint> {
public:
    Endpoint(TCServer& server, std::string name);
    ~Endpoint();
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    // See TCServer.
    bool Open();
    void Close();
    bool Subscribe(std::shared_ptr<const Subscription> entry);
    void Unsubscribe(const std::string& sender, const std::string& signal);
    int SendMessage(const char* destination, const TCMessage& message, bool wait, TCMessage* reply);
    int Ping(const char* destination);
    int SendSignal(const std::string& signal, const TCMessage& message);

    /// The endpoint of this process that bears this name and is open, or null.
    static std::shared_ptr<Endpoint> Find(const std::string& name);

    /// One callback into the server: valid where IsOpen says so.
    class Callback {
    public:
        explicit Callback(Endpoint& endpoint);
        ~Callback();
        Callback(const Callback&) = delete;
        Callback& operator=(const Callback&) = delete;

        bool IsOpen() const { return m_passage.IsOpen(); }
        TCServer& Server() const { return m_endpoint.m_server; }

    private:
        Endpoint& m_endpoint;
        const CallbackGate::Passage m_passage;
        const Endpoint* const m_outer;
    };

private:
    static constexpr std::chrono::milliseconds FIRST_PAUSE{50}; // ahead of the next connection
    // Messages to take off the connection at a time. A few share the lock's cost, and the first
    // doesn't wait for the last; with others waiting already the more the better.
    static constexpr std::size_t FEW = 8;
    static constexpr std::size_t MOST_AT_ONCE = 64;

    std::error_code StartThread() EXCLUDES(m_mutex);
    void Run();
    int TakeOut(BusConnection& connection);
    bool Connect();
    void Disconnect(int error);
    void ConnectAgain();

    void ActOnSome();
    void Act(Incoming incoming);
    bool WaitForMainLoop();
    void Deliver(Incoming incoming, TCMessage message);
    void CallBack(const Incoming& incoming, TCMessage message);

    std::shared_ptr<BusConnection> Connection() EXCLUDES(m_mutex);
    // Of the calling thread.
    bool IsInCallback() const;
    bool IsDispatchingThread() const;
    PendingReply::Result WaitFor(BusConnection& connection, PendingReply& reply);

    TCServer& m_server;
    const std::string m_name;
    const std::string m_busName; // empty: not a name that the bus takes

    CallbackGate m_gate;

    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_closingChanged;
    bool m_closing GUARDED_BY(m_mutex) = true;
    std::shared_ptr<BusConnection> m_connection GUARDED_BY(m_mutex);
    std::vector<std::shared_ptr<const Subscription>> m_subscriptions GUARDED_BY(m_mutex);

    std::thread m_thread; // written under m_mutex while the endpoint is open, and by Close
    std::chrono::steady_clock::time_point m_opened; // by Open, ahead of the thread

    // The dispatching thread's own.
    SenderTurns m_turns;
    std::vector<Incoming> m_taken; // on the way there
    std::size_t m_few = 1;    // a message that comes alone is acted on before there is another look
    bool m_hasWaited = false; // for the main loop
    std::chrono::milliseconds m_pause = FIRST_PAUSE;
    std::chrono::steady_clock::time_point m_nextTry; // to connect
    std::string m_trouble; // what has been told of the present outage; empty without one
};

} // namespace Quill

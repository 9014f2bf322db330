// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CallThreads.h"
#include "HearthClient.h"
#include "Mutex.h"
#include "TCServer.h"
#include "TCTask.h"

namespace hearthd {

// What the clients of a process share: the endpoint, the threads of calls, and the listeners.
//
// Any thread. The endpoint's dispatching thread takes notifications and queues each with the
// listening thread, which calls the listeners: they may wait for answers, which only the
// dispatching thread can take off the bus. m_mutex guards who listens to what. It is held while the
// bus is asked for a subscription, so that the bus is always asked for what stands here, and never
// while a listener runs.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    /// The process's connection, which is opened for the first client. Throws a Failure.
    static std::shared_ptr<Connection> Join();
    /// As often as Join; the last one closes the connection. Not in a listener.
    static void Leave() noexcept;

    Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // See Client. The messages are checked.
    Json::Value Ask(const std::string& endpoint, const Quill::TCMessage& message,
                    std::chrono::milliseconds limit = Client::LONGEST_WAIT);
    void Ping(const std::string& endpoint);
    void Send(const Quill::TCMessage& message);
    std::shared_ptr<Listening> Listen(const std::string& subject, Listener listener);
    std::shared_ptr<Listening> ListenToAll(Listener listener);

    void Forget(const Listening& listening) EXCLUDES(m_mutex);

    /// Has it run on a thread of the connection's, which waits for it when it closes.
    std::future<Json::Value> Later(std::function<Json::Value()> call);

private:
    using Listenings = std::vector<std::shared_ptr<Listening>>;

    // Calls the listeners.
    class Task : public Quill::TCTask {
    public:
        Task() : TCTask("hearthd-listen") {}
        bool t_Init() override;
    };

    void Open();
    Listenings Close(); ///< returns what had been listening
    Json::Value AskAndWait(const std::string& endpoint, const Quill::TCMessage& message);
    Failure FailureOfCall(int error, const std::string& endpoint,
                          std::chrono::steady_clock::duration waited) const;
    void StartListening() REQUIRES(m_mutex);
    static void OnNotification(const char* sender, const char* signal, Quill::TCMessage* message,
                               void* self);
    static void OnAnyNotification(const char* sender, const char* signal, Quill::TCMessage* message,
                                  void* self);
    void Queue(const Listenings& listenings, const Quill::TCMessage& message);

    const std::string m_name;
    std::atomic<bool> m_closed{false};
    CallThreads m_callThreads;
    Task m_task;

    marrow::base::Mutex m_mutex;
    bool m_isListening GUARDED_BY(m_mutex) = false; // the task runs
    bool m_hearsAll GUARDED_BY(m_mutex) = false;    // the bus brings every notification
    std::map<std::string, Listenings, std::less<>> m_listenings GUARDED_BY(m_mutex); // by signal
    Listenings m_listeningsToAll GUARDED_BY(m_mutex);

    Quill::TCServer m_endpoint; // last: its callbacks use the others
};

} // namespace hearthd

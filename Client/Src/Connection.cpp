// SPDX-License-Identifier: Apache-2.0
#include "Connection.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "Failures.h"
#include "Listening.h"
#include "TCEvent.h"

namespace hearthd {

using marrow::base::Mutex;
using marrow::base::MutexLock;
using Quill::TCMessage;

namespace {

constexpr const char* ROUTER_SIGNAL = "marrow_ser_server_MRSignal__";

// The bus library tells of its own limit and of an endpoint that has gone with one error.
constexpr std::chrono::seconds SURELY_EARLY{1};

thread_local bool t_isListeningThread = false;

// The clients of this process.
struct Process {
    Mutex mutex;
    std::shared_ptr<Connection> connection GUARDED_BY(mutex);
    int clients GUARDED_BY(mutex) = 0;

    static Process& Get() {
        static Process* const process = new Process; // clients may live at exit
        return *process;
    }
};

// A notification on its way to those who listened when it came.
class Delivery : public Quill::TCHandler {
public:
    Delivery(std::vector<std::shared_ptr<Listening>> listenings, Notification notification)
        : m_listenings(std::move(listenings)), m_notification(std::move(notification)) {}

    bool t_OnEvent(const Quill::TCEvent* /*event*/) override {
        for (const std::shared_ptr<Listening>& listening : m_listenings) {
            listening->Deliver(m_notification);
        }
        return true;
    }

    void t_Clear(Quill::TCEvent* /*event*/) override { delete this; }

private:
    const std::vector<std::shared_ptr<Listening>> m_listenings;
    const Notification m_notification;
};

} // namespace

std::shared_ptr<Connection> Connection::Join() {
    if (t_isListeningThread) {
        throw std::logic_error("a listener cannot make a hearthd::Client");
    }
    Process& process = Process::Get();
    const MutexLock lock(process.mutex);
    if (process.connection == nullptr) {
        const auto connection = std::make_shared<Connection>();
        connection->Open();
        process.connection = connection;
    }
    ++process.clients;
    return process.connection;
}

// A client that comes meanwhile waits: it wants the same name on the bus.
void Connection::Leave() noexcept {
    if (t_isListeningThread) {
        std::fputs("a listener has ended a hearthd::Client, which would wait for it\n", stderr);
        std::terminate();
    }
    Process& process = Process::Get();
    Listenings ceased;
    {
        const MutexLock lock(process.mutex);
        if (--process.clients == 0) {
            ceased = process.connection->Close();
            process.connection.reset();
        }
    }
    // What a listener holds may do anything when it goes: not under the lock.
    for (const std::shared_ptr<Listening>& listening : ceased) {
        listening->DropIfEnded();
    }
}

Connection::Connection()
    : m_name("marrow.ser.client.PID_" + std::to_string(getpid())),
      m_endpoint(m_name, Quill::TCServer::CLIENT) {}

void Connection::Open() {
    if (!m_endpoint.CreateDBusServer()) {
        throw Failure(Reason::NO_BUS, "there is no message bus at " + BusAddress() +
                                          ", or it refuses the name " + m_name +
                                          "; DLOG_LEVEL=error shows which. "
                                          "DBUS_SYSTEM_BUS_ADDRESS names another bus than the "
                                          "system's");
    }
}

Connection::Listenings Connection::Close() {
    m_closed = true;
    Listenings listenings;
    {
        const MutexLock lock(m_mutex);
        listenings = m_listeningsToAll;
        for (const auto& [signal, some] : m_listenings) {
            listenings.insert(listenings.end(), some.begin(), some.end());
        }
    }
    for (const std::shared_ptr<Listening>& listening : listenings) {
        listening->Cease();
    }
    m_endpoint.CloseDBusServer(); // which ends the calls
    m_task.Destroy();             // a listener that is running may make more of them,
    m_callThreads.End();          // and wants threads for them
    return listenings;
}

Json::Value Connection::Ask(const std::string& endpoint, const TCMessage& message,
                            std::chrono::milliseconds limit) {
    if (limit >= Client::LONGEST_WAIT) {
        return AskAndWait(endpoint, message);
    }
    std::future<Json::Value> answer =
        Later([this, endpoint, message] { return AskAndWait(endpoint, message); });
    if (answer.wait_for(limit) == std::future_status::timeout) {
        throw TimedOut(endpoint, limit);
    }
    return answer.get();
}

std::future<Json::Value> Connection::Later(std::function<Json::Value()> call) {
    const auto task = std::make_shared<std::packaged_task<Json::Value()>>(std::move(call));
    try {
        m_callThreads.Run([task] { (*task)(); });
    } catch (const std::system_error& error) {
        throw Failure(Reason::OTHER,
                      std::string("there is no thread for the call: ") + error.what());
    }
    return task->get_future();
}

Json::Value Connection::AskAndWait(const std::string& endpoint, const TCMessage& message) {
    const auto sent = std::chrono::steady_clock::now();
    TCMessage reply;
    const int error = m_endpoint.SendMessage(endpoint.c_str(), &message, true, &reply);
    if (error < 0) {
        throw FailureOfCall(error, endpoint, std::chrono::steady_clock::now() - sent);
    }
    return reply.payload;
}

Failure Connection::FailureOfCall(int error, const std::string& endpoint,
                                  std::chrono::steady_clock::duration waited) const {
    if (error == -ENOTCONN && m_closed) {
        return {Reason::CLIENT_ENDED, "the client has ended ahead of the answer"};
    }
    if (error == -ETIMEDOUT && waited > Client::LONGEST_WAIT - SURELY_EARLY) {
        return TimedOut(endpoint, Client::LONGEST_WAIT);
    }
    return FailureOf(error, endpoint);
}

void Connection::Ping(const std::string& endpoint) {
    const auto sent = std::chrono::steady_clock::now();
    if (const int error = m_endpoint.Ping(endpoint.c_str()); error < 0) {
        throw FailureOfCall(error, endpoint, std::chrono::steady_clock::now() - sent);
    }
}

void Connection::Send(const TCMessage& message) {
    const int error = Quill::TCServer::SendSignal(m_name.c_str(), ROUTER_SIGNAL, &message);
    if (error < 0) {
        throw FailureOf(error, Client::ROUTER);
    }
}

bool Connection::Task::t_Init() {
    t_isListeningThread = true;
    return true;
}

void Connection::StartListening() {
    m_isListening = m_isListening || m_task.Create("hearthd-listen", true, 0);
    if (!m_isListening) {
        throw Failure(Reason::OTHER, "there is no thread for listeners");
    }
}

std::shared_ptr<Listening> Connection::Listen(const std::string& subject, Listener listener) {
    const std::string signal = ROUTER_SIGNAL + subject;
    auto listening = std::make_shared<Listening>(weak_from_this(), signal, std::move(listener));
    const MutexLock lock(m_mutex);
    StartListening();
    Listenings& listenings = m_listenings[signal];
    listenings.push_back(listening);
    if (listenings.size() == 1 &&
        !m_endpoint.SubscribeSignal(Client::ROUTER, signal.c_str(), OnNotification, this)) {
        m_listenings.erase(signal);
        throw Failure(Reason::REFUSED, "the bus refuses the subscription to " + subject +
                                           "; DLOG_LEVEL=error shows why");
    }
    return listening;
}

std::shared_ptr<Listening> Connection::ListenToAll(Listener listener) {
    auto listening =
        std::make_shared<Listening>(weak_from_this(), std::string(), std::move(listener));
    const MutexLock lock(m_mutex);
    StartListening();
    m_hearsAll = m_hearsAll || m_endpoint.SubscribeSignals(Client::ROUTER, ROUTER_SIGNAL,
                                                           OnAnyNotification, this);
    if (!m_hearsAll) {
        throw Failure(Reason::REFUSED, "the bus refuses the subscription to all notifications; "
                                       "DLOG_LEVEL=error shows why");
    }
    m_listeningsToAll.push_back(listening);
    return listening;
}

void Connection::Forget(const Listening& listening) {
    const auto isIt = [&](const std::shared_ptr<Listening>& one) {
        return one.get() == &listening;
    };
    const MutexLock lock(m_mutex);
    std::erase_if(m_listeningsToAll, isIt);
    const auto found = m_listenings.find(listening.Signal());
    if (found != m_listenings.end() && std::erase_if(found->second, isIt) > 0 &&
        found->second.empty()) {
        m_endpoint.UnSubscribeSignal(Client::ROUTER, listening.Signal().c_str());
        m_listenings.erase(found);
    }
}

void Connection::OnNotification(const char* /*sender*/, const char* signal, TCMessage* message,
                                void* self) {
    auto& connection = *static_cast<Connection*>(self);
    const MutexLock lock(connection.m_mutex);
    const auto found = connection.m_listenings.find(signal);
    if (found != connection.m_listenings.end()) {
        connection.Queue(found->second, *message);
    }
}

void Connection::OnAnyNotification(const char* /*sender*/, const char* /*signal*/,
                                   TCMessage* message, void* self) {
    auto& connection = *static_cast<Connection*>(self);
    const MutexLock lock(connection.m_mutex);
    connection.Queue(connection.m_listeningsToAll, *message);
}

void Connection::Queue(const Listenings& listenings, const TCMessage& message) {
    auto* const delivery = new Delivery(listenings, {message.subject, message.payload});
    delivery->owner = &m_task;
    Quill::TCEvent event;
    event.handler = delivery;
    Quill::TCEventIO::SendEvent(&event); // which owns it now
}

} // namespace hearthd

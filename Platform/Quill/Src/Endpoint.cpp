// SPDX-License-Identifier: Apache-2.0
#include "Endpoint.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <pthread.h>
#include <utility>

#include "Delivery.h"
#include "JsonCodec.h"
#include "LiveQueues.h"
#include "QuillLog.h"
#include "TCEvent.h"
#include "WireText.h"

namespace Quill {

using marrow::base::Mutex;
using marrow::base::MutexLock;

namespace {

constexpr std::chrono::milliseconds FIRST_PAUSE{50};
constexpr std::chrono::milliseconds LONGEST_PAUSE{1000};
constexpr const char* INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs";

// The endpoint in whose callback this thread is.
thread_local const Endpoint* t_endpointInCallback = nullptr;
// The endpoint whose dispatching thread this is.
thread_local const Endpoint* t_endpointOfThread = nullptr;

// The open endpoints of this process by name.
struct Directory {
    Mutex mutex;
    std::map<std::string, std::weak_ptr<Endpoint>, std::less<>> endpoints GUARDED_BY(mutex);

    static Directory& Get() {
        static Directory* const directory = new Directory; // endpoints may live at exit
        return *directory;
    }
};

// A message as the wire takes it.
struct Encoded {
    std::string subject;
    std::string payload;

    explicit Encoded(const TCMessage& message)
        : subject(WireText::ValidString(message.subject)),
          payload(JsonCodec::Encode(message.payload)) {}

    bool IsTooLarge(std::size_t more = 0) const {
        return subject.size() + payload.size() + more > WireText::LARGEST_TEXT;
    }
};

} // namespace

Endpoint::Callback::Callback(Endpoint& endpoint)
    : m_endpoint(endpoint), m_passage(endpoint.m_gate), m_outer(t_endpointInCallback) {
    t_endpointInCallback = &endpoint;
}

Endpoint::Callback::~Callback() {
    t_endpointInCallback = m_outer;
}

Endpoint::Endpoint(TCServer& server, std::string name)
    : m_server(server), m_name(std::move(name)), m_busName(WireText::BusName(m_name)),
      m_pause(FIRST_PAUSE) {}

Endpoint::~Endpoint() = default;

std::shared_ptr<Endpoint> Endpoint::Find(const std::string& name) {
    Directory& directory = Directory::Get();
    const MutexLock lock(directory.mutex);
    const auto found = directory.endpoints.find(name);
    return found == directory.endpoints.end() ? nullptr : found->second.lock();
}

bool Endpoint::Open() {
    if (m_busName.empty()) {
        QUILL_LOGE("endpoint '%s': no valid bus name comes of this", m_name.c_str());
        return false;
    }
    {
        const MutexLock lock(m_mutex);
        if (!m_closing) {
            return m_connection != nullptr;
        }
        m_closing = false;
    }
    {
        Directory& directory = Directory::Get();
        const MutexLock lock(directory.mutex);
        directory.endpoints[m_name] = weak_from_this();
    }
    m_gate.Open();
    const bool connected = Connect();
    m_thread = std::thread([this] { Run(); });
    return connected;
}

void Endpoint::Close() {
    if (t_endpointInCallback == this) {
        QUILL_LOGE("endpoint %s cannot be closed from its own callback", m_name.c_str());
        return;
    }
    std::shared_ptr<BusConnection> connection;
    {
        const MutexLock lock(m_mutex);
        if (m_closing) {
            return;
        }
        m_closing = true;
        connection = m_connection;
    }
    m_closingChanged.NotifyAll();
    if (connection != nullptr) {
        // A callback may be waiting for an answer that nobody takes off the bus any more.
        connection->AbandonCalls();
    }
    m_gate.CloseAndWait();
    m_thread.join();
    {
        Directory& directory = Directory::Get();
        const MutexLock lock(directory.mutex);
        directory.endpoints.erase(m_name);
    }
    m_backlog.clear();
    const MutexLock lock(m_mutex);
    if (m_connection != nullptr) {
        m_connection->Close();
        m_connection.reset();
    }
}

bool Endpoint::Subscribe(std::shared_ptr<const Subscription> entry) {
    std::shared_ptr<BusConnection> connection;
    {
        const MutexLock lock(m_mutex);
        m_subscriptions.push_back(entry);
        connection = m_connection;
    }
    const int result = connection == nullptr ? 0 : connection->Subscribe(entry);
    if (result == -ENOTCONN || result >= 0) {
        return true; // without a bus the next connection asks for it
    }
    QUILL_LOGE("endpoint %s: the bus refuses the subscription to signal %s: %s", m_name.c_str(),
               entry->signal.c_str(), strerror(-result));
    const MutexLock lock(m_mutex);
    std::erase(m_subscriptions, entry);
    return false;
}

void Endpoint::Unsubscribe(const std::string& sender, const std::string& signal) {
    std::vector<std::shared_ptr<const Subscription>> ended;
    std::shared_ptr<BusConnection> connection;
    {
        const MutexLock lock(m_mutex);
        std::erase_if(m_subscriptions, [&](const std::shared_ptr<const Subscription>& entry) {
            const bool matches =
                !entry->isPrefix && entry->sender == sender && entry->signal == signal;
            if (matches) {
                entry->ended = true;
                ended.push_back(entry);
            }
            return matches;
        });
        connection = m_connection;
    }
    if (connection != nullptr) {
        for (const auto& entry : ended) {
            connection->Unsubscribe(entry.get());
        }
    }
}

int Endpoint::SendMessage(const char* destination, const TCMessage& message, bool wait,
                          TCMessage* reply) {
    const std::string busName =
        destination == nullptr ? std::string() : WireText::BusName(destination);
    if (busName.empty()) {
        return -EINVAL;
    }
    const std::shared_ptr<BusConnection> connection = Connection();
    if (connection == nullptr) {
        return -ENOTCONN;
    }
    const Encoded encoded(message);
    if (encoded.IsTooLarge()) {
        return -EMSGSIZE;
    }
    const auto pending = wait ? std::make_shared<PendingReply>() : nullptr;
    const int sent = connection->Call(busName, encoded.subject, encoded.payload, pending);
    if (sent < 0 || !wait) {
        return sent;
    }
    const PendingReply::Result result = WaitFor(*connection, *pending);
    if (result.error < 0) {
        QUILL_LOGW("call to %s failed: %s", destination, result.text.c_str());
        return result.error;
    }
    TCMessage received;
    std::string error;
    if (!JsonCodec::Decode(result.payload, JsonCodec::Root::ANY, received.payload, error)) {
        QUILL_LOGW("the reply of %s is no JSON: %s", destination, error.c_str());
        return -EBADMSG;
    }
    received.subject = result.subject;
    if (reply != nullptr) {
        *reply = std::move(received);
    }
    return 0;
}

int Endpoint::Ping(const char* destination) {
    const std::string busName =
        destination == nullptr ? std::string() : WireText::BusName(destination);
    if (busName.empty()) {
        return -EINVAL;
    }
    const std::shared_ptr<BusConnection> connection = Connection();
    if (connection == nullptr) {
        return -ENOTCONN;
    }
    const auto pending = std::make_shared<PendingReply>();
    const int sent = connection->Ping(busName, pending);
    return sent < 0 ? sent : WaitFor(*connection, *pending).error;
}

// The dispatching thread would wait for an answer that only it can take off the bus, so it goes on
// taking out; what else comes is kept for later.
PendingReply::Result Endpoint::WaitFor(BusConnection& connection, PendingReply& reply) {
    if (IsDispatchingThread()) {
        while (!reply.IsComplete()) {
            const int result = connection.TakeOut(m_backlog);
            if (result < 0) {
                return {result, strerror(-result), {}, {}};
            }
            if (result == 0 && !reply.IsComplete()) {
                connection.WaitForWork();
            }
        }
    }
    return reply.Wait();
}

int Endpoint::SendSignal(const std::string& signal, const TCMessage& message) {
    if (signal.empty()) {
        return -EINVAL;
    }
    const std::shared_ptr<BusConnection> connection = Connection();
    if (connection == nullptr) {
        return -ENOTCONN;
    }
    const Encoded encoded(message);
    const std::string name = WireText::ValidString(signal);
    if (encoded.IsTooLarge(name.size())) {
        QUILL_LOGW("signal %s is larger than the bus takes (%zu bytes): not sent", name.c_str(),
                   encoded.payload.size());
        return -EMSGSIZE;
    }
    return connection->SendSignal(name, encoded.subject, encoded.payload);
}

std::shared_ptr<BusConnection> Endpoint::Connection() {
    const MutexLock lock(m_mutex);
    return m_connection;
}

bool Endpoint::IsDispatchingThread() const {
    return t_endpointOfThread == this;
}

void Endpoint::Run() {
    pthread_setname_np(pthread_self(), "quill-dispatch");
    t_endpointOfThread = this;
    std::vector<Incoming> taken;
    while (true) {
        std::shared_ptr<BusConnection> connection;
        {
            const MutexLock lock(m_mutex);
            if (m_closing) {
                return;
            }
            connection = m_connection;
        }
        if (connection == nullptr) {
            WaitToConnect();
            continue;
        }
        const int result = connection->TakeOut(taken);
        for (Incoming& incoming : taken) {
            Act(std::move(incoming));
        }
        taken.clear();
        // A callback that waited for a reply has left here what came meanwhile.
        taken.swap(m_backlog);
        if (!taken.empty()) {
            for (Incoming& incoming : std::exchange(taken, {})) {
                Act(std::move(incoming));
            }
            continue;
        }
        if (result < 0) {
            Disconnect(result);
        } else if (result == 0) {
            connection->WaitForWork();
        }
    }
}

// Connects, takes the name and the subscriptions. On failure it says so once for each outage.
bool Endpoint::Connect() {
    std::string error;
    const std::shared_ptr<BusConnection> connection =
        BusConnection::Open(WireText::TopLevel(m_busName), error);
    int owned = 0;
    if (connection != nullptr) {
        owned = connection->RequestName(m_busName);
        if (owned < 0) {
            error = "the bus refuses the name " + m_busName + ": " + strerror(-owned);
        }
    }
    if (connection == nullptr || owned < 0) {
        if (!std::exchange(m_announced, true)) {
            QUILL_LOGE("endpoint %s: %s; trying again until it works", m_name.c_str(),
                       error.c_str());
        }
        return false;
    }
    if (owned == 0) {
        QUILL_LOGW("endpoint %s: the name has another owner; waiting in line for it",
                   m_name.c_str());
    }
    std::vector<std::shared_ptr<const Subscription>> subscriptions;
    {
        // From here on Subscribe asks this connection itself.
        const MutexLock lock(m_mutex);
        subscriptions = m_subscriptions;
        m_connection = connection;
    }
    for (const auto& subscription : subscriptions) {
        const int result = connection->Subscribe(subscription);
        if (result < 0) {
            QUILL_LOGE("endpoint %s: the subscription to signal %s is lost: %s", m_name.c_str(),
                       subscription->signal.c_str(), strerror(-result));
        }
    }
    if (std::exchange(m_announced, false)) {
        QUILL_LOGW("endpoint %s is on the bus again", m_name.c_str());
    }
    m_pause = FIRST_PAUSE;
    return true;
}

void Endpoint::Disconnect(int error) {
    QUILL_LOGW("endpoint %s has lost the bus: %s; connecting again", m_name.c_str(),
               strerror(-error));
    m_announced = true;
    std::shared_ptr<BusConnection> connection;
    {
        const MutexLock lock(m_mutex);
        connection = std::move(m_connection);
    }
    connection->Close();
}

void Endpoint::WaitToConnect() {
    const auto until = std::chrono::steady_clock::now() + m_pause;
    {
        const MutexLock lock(m_mutex);
        while (!m_closing && m_closingChanged.WaitUntil(m_mutex, until)) {
        }
        if (m_closing) {
            return;
        }
    }
    m_pause = std::min(m_pause * 2, LONGEST_PAUSE);
    Connect();
}

// Only a payload that is an object, or none, goes on from here.
void Endpoint::Act(Incoming incoming) {
    if (incoming.kind == Incoming::Kind::SIGNAL && incoming.subscription->ended) {
        return;
    }
    TCMessage message;
    std::string error;
    const auto root =
        incoming.kind == Incoming::Kind::REPLY ? JsonCodec::Root::ANY : JsonCodec::Root::OBJECT;
    if (!JsonCodec::Decode(incoming.payload, root, message.payload, error)) {
        QUILL_LOGD("endpoint %s: bad payload from %s: %s", m_name.c_str(), incoming.sender.c_str(),
                   error.c_str());
        if (incoming.kind == Incoming::Kind::CALL) {
            BusConnection& connection = *incoming.message.Connection();
            connection.ReplyError(std::move(incoming.message), INVALID_ARGS,
                                  WireText::ValidString("the payload is no JSON object: " + error));
        }
        return;
    }
    message.subject = incoming.subject;
    if (incoming.kind == Incoming::Kind::CALL ||
        (incoming.kind == Incoming::Kind::SIGNAL && incoming.subscription->callback == nullptr)) {
        Deliver(std::move(incoming), std::move(message));
    } else {
        CallBack(incoming, std::move(message));
    }
}

void Endpoint::Deliver(Incoming incoming, TCMessage message) {
    auto delivery =
        std::make_unique<Delivery>(shared_from_this(), std::move(incoming), std::move(message));
    TCEventIO* target = nullptr;
    bool transfer = false;
    {
        const Callback callback(*this);
        if (!callback.IsOpen()) {
            return;
        }
        transfer =
            callback.Server().IfTransferMessage(delivery->Sender(), delivery->Message(), target);
    }
    if (transfer && target != nullptr) {
        TCEvent event;
        event.handler = delivery.get();
        delivery->owner = target;
        if (LiveQueues::Get().Push(target, event)) {
            delivery.release(); // the queue clears it, and it deletes itself
            return;
        }
    }
    delivery->Run();
}

void Endpoint::CallBack(const Incoming& incoming, TCMessage message) {
    const Callback callback(*this);
    if (!callback.IsOpen()) {
        return;
    }
    if (incoming.kind == Incoming::Kind::REPLY) {
        callback.Server().IfMessageReplied(incoming.sender.c_str(), &message);
    } else {
        const Subscription& subscription = *incoming.subscription;
        subscription.callback(incoming.sender.c_str(), incoming.signal, &message,
                              subscription.userData);
    }
}

} // namespace Quill

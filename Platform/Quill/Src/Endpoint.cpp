// SPDX-License-Identifier: Apache-2.0
#include "Endpoint.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <map>
#include <utility>

#include "JsonCodec.h"
#include "MainLoop.h"
#include "QuillLog.h"
#include "WireText.h"

namespace Quill {

using marrow::base::Mutex;
using marrow::base::MutexLock;

namespace {

constexpr std::chrono::seconds THREAD_PAUSE{1}; // from one try to start it to the next
// The bus library gives up after 25 seconds, but the dispatching thread has to look; it may be in a
// callback that waits for this very call.
constexpr std::chrono::seconds LONGEST_WAIT{26};

// The open endpoints of this process by name. Of one name the last stands for it.
struct Directory {
    Mutex mutex;
    std::multimap<std::string, std::weak_ptr<Endpoint>> endpoints GUARDED_BY(mutex);

    static Directory& Get() {
        static Directory* const directory = new Directory; // endpoints may live at exit
        return *directory;
    }
};

// Empty where none comes of it.
std::string BusNameOf(const char* endpoint) {
    return endpoint == nullptr ? std::string() : WireText::BusName(endpoint);
}

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

Endpoint::Endpoint(TCServer& server, std::string name)
    : m_server(server), m_name(std::move(name)), m_busName(WireText::BusName(m_name)) {}

Endpoint::~Endpoint() = default;

std::shared_ptr<Endpoint> Endpoint::Find(const std::string& name) {
    Directory& directory = Directory::Get();
    const MutexLock lock(directory.mutex);
    const auto behind = directory.endpoints.upper_bound(name);
    if (behind == directory.endpoints.begin() || std::prev(behind)->first != name) {
        return nullptr;
    }
    return std::prev(behind)->second.lock();
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
        directory.endpoints.emplace(m_name, weak_from_this()); // behind others of its name
    }
    MainLoop::Expect();
    m_opened = std::chrono::steady_clock::now();
    m_nextTry = m_opened + m_pause;
    m_gate.Open();
    const bool connected = Connect();
    const std::error_code noThread = StartThread();
    if (noThread) {
        QUILL_LOGE("endpoint %s: cannot start a thread: %s; trying again until it works",
                   m_name.c_str(), noThread.message().c_str());
        MainLoop::Repeat(THREAD_PAUSE, [weak = weak_from_this()] {
            const std::shared_ptr<Endpoint> endpoint = weak.lock();
            return endpoint == nullptr || !endpoint->StartThread();
        });
    }
    return connected && !noThread;
}

// No error where it runs already, or isn't wanted any more.
std::error_code Endpoint::StartThread() {
    const MutexLock lock(m_mutex);
    if (!m_closing && !m_thread.joinable()) {
        try {
            m_thread = std::thread([this] { Run(); });
        } catch (const std::system_error& error) {
            return error.code();
        }
    }
    return {};
}

void Endpoint::Close() {
    if (IsInCallback()) {
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
    if (m_thread.joinable()) {
        m_thread.join();
    }
    {
        Directory& directory = Directory::Get();
        const MutexLock lock(directory.mutex);
        std::erase_if(directory.endpoints, [own = weak_from_this()](const auto& entry) {
            return !entry.second.owner_before(own) && !own.owner_before(entry.second);
        });
    }
    m_turns.Clear();
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
    const std::string busName = BusNameOf(destination);
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
    const std::string busName = BusNameOf(destination);
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
        std::vector<Incoming> taken;
        while (!reply.IsComplete()) {
            const int result = connection.TakeOut(taken, MOST_AT_ONCE);
            m_turns.Add(taken);
            if (result < 0 && !reply.IsComplete()) {
                return {result == -ETIMEDOUT ? result : -ENOTCONN, strerror(-result), {}, {}};
            }
            if (result == 0 && !reply.IsComplete()) {
                connection.WaitForWork();
            }
        }
    }
    return reply.WaitUntil(std::chrono::steady_clock::now() + LONGEST_WAIT);
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

} // namespace Quill

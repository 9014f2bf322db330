// SPDX-License-Identifier: Apache-2.0

// The dispatching thread: it keeps the endpoint on the bus, and acts on what it takes out there.

#include "Endpoint.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <utility>

#include "Delivery.h"
#include "JsonCodec.h"
#include "LiveQueues.h"
#include "MainLoop.h"
#include "Probe.h"
#include "QuillLog.h"
#include "TCEvent.h"
#include "WireText.h"

namespace Quill {

using marrow::base::MutexLock;

namespace {

constexpr std::chrono::milliseconds LONGEST_PAUSE{1000};
constexpr std::chrono::microseconds LONGEST_ACTING{50}; // ahead of the next look at the bus
constexpr const char* INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs";

// The endpoint in whose callback this thread is.
thread_local const Endpoint* t_endpointInCallback = nullptr;
// The endpoint whose dispatching thread this is.
thread_local const Endpoint* t_endpointOfThread = nullptr;

} // namespace

Endpoint::Callback::Callback(Endpoint& endpoint)
    : m_endpoint(endpoint), m_passage(endpoint.m_gate), m_outer(t_endpointInCallback) {
    t_endpointInCallback = &endpoint;
}

Endpoint::Callback::~Callback() {
    t_endpointInCallback = m_outer;
}

bool Endpoint::IsInCallback() const {
    return t_endpointInCallback == this;
}

bool Endpoint::IsDispatchingThread() const {
    return t_endpointOfThread == this;
}

void Endpoint::Run() {
    pthread_setname_np(pthread_self(), "quill-dispatch");
    t_endpointOfThread = this;
    while (true) {
        std::shared_ptr<BusConnection> connection;
        {
            const MutexLock lock(m_mutex);
            if (m_closing) {
                return;
            }
            connection = m_connection;
        }
        int result = 0;
        if (connection == nullptr) {
            ConnectAgain();
        } else {
            result = TakeOut(*connection);
            if (result < 0) {
                Disconnect(result);
            }
        }
        const bool isHeldUp = connection != nullptr && connection->IsHeldUp();
        if (!m_turns.IsEmpty() && !isHeldUp) {
            ActOnSome();
        } else if (connection != nullptr && result == 0) {
            connection->WaitForWork();
        }
    }
}

int Endpoint::TakeOut(BusConnection& connection) {
    std::size_t most = m_turns.IsEmpty() ? m_few : MOST_AT_ONCE;
    if (!m_turns.HasRoom()) {
        most = 0;
    }
    const int result = connection.TakeOut(m_taken, most);
    m_turns.Add(m_taken);
    m_few = result == 0 ? 1 : std::min(2 * m_few, FEW);
    return result;
}

// Behind each of them there may be a newcomer on the bus, which goes ahead of the others. It is
// looked for at once where several compete, as the bus has more of theirs anyway. Elsewhere a look
// would cost as much as many a message.
void Endpoint::ActOnSome() {
    const auto begin = std::chrono::steady_clock::now();
    do {
        Act(m_turns.TakeNext());
    } while (!m_turns.IsEmpty() && !m_turns.AreManyInTurn() &&
             std::chrono::steady_clock::now() < begin + LONGEST_ACTING);
}

// Connects, takes the name and the subscriptions. On failure it says why, once while that stays
// the same.
bool Endpoint::Connect() {
    std::string error;
    const std::shared_ptr<BusConnection> connection =
        BusConnection::Open(WireText::TopLevel(m_busName), error);
    int owned = 0;
    if (connection != nullptr) {
        owned = connection->RequestName(m_busName);
        if (owned < 0) {
            error = "the bus refuses the name " + m_busName + ": " + strerror(-owned);
            connection->Close();
        }
    }
    if (connection == nullptr || owned < 0) {
        if (std::exchange(m_trouble, error) != error) {
            QUILL_LOGE("endpoint %s: %s; trying again until it works", m_name.c_str(),
                       error.c_str());
        }
        return false;
    }
    if (owned == 0) {
        QUILL_LOGW("endpoint %s: the name has another owner; waiting in line for it",
                   m_name.c_str());
        // It may be this endpoint's last connection: a bus that read nothing from it hasn't seen it
        // go, and does so where it has something to send.
        connection->Ping(m_busName, std::make_shared<PendingReply>());
    }
    std::vector<std::shared_ptr<const Subscription>> subscriptions;
    bool isClosing = false;
    {
        // From here on Subscribe asks this connection itself.
        const MutexLock lock(m_mutex);
        isClosing = m_closing;
        if (!isClosing) {
            subscriptions = m_subscriptions;
            m_connection = connection;
        }
    }
    if (isClosing) { // whoever sent over it would wait for ever: nobody takes anything out any more
        connection->Close();
        return false;
    }
    for (const auto& subscription : subscriptions) {
        const int result = connection->Subscribe(subscription);
        if (subscription->ended) { // meanwhile
            connection->Unsubscribe(subscription.get());
        } else if (result < 0 && result != -ENOTCONN) {
            QUILL_LOGE("endpoint %s: the subscription to signal %s is lost: %s", m_name.c_str(),
                       subscription->signal.c_str(), strerror(-result));
        }
    }
    if (!std::exchange(m_trouble, {}).empty()) {
        QUILL_LOGW("endpoint %s is on the bus again", m_name.c_str());
    }
    m_pause = FIRST_PAUSE;
    return true;
}

void Endpoint::Disconnect(int error) {
    m_trouble = error == -ETIMEDOUT
                    ? "it takes nothing from here (does a client not read its replies?)"
                    : strerror(-error);
    QUILL_LOGW("endpoint %s has lost the bus: %s; connecting again", m_name.c_str(),
               m_trouble.c_str());
    std::shared_ptr<BusConnection> connection;
    {
        const MutexLock lock(m_mutex);
        connection = std::move(m_connection);
    }
    connection->Close();
    m_nextTry = std::chrono::steady_clock::now() + m_pause;
}

// When it is time, for which it waits unless there is something to do meanwhile.
void Endpoint::ConnectAgain() {
    if (m_turns.IsEmpty()) {
        const MutexLock lock(m_mutex);
        while (!m_closing && m_closingChanged.WaitUntil(m_mutex, m_nextTry)) {
        }
        if (m_closing) {
            return;
        }
    } else if (std::chrono::steady_clock::now() < m_nextTry) {
        return;
    }
    m_pause = std::min(m_pause * 2, LONGEST_PAUSE);
    Connect();
    m_nextTry = std::chrono::steady_clock::now() + m_pause;
}

// Only a payload that is an object, or none, goes on from here.
void Endpoint::Act(Incoming incoming) {
    HEARTHD_PROBE(quill, message_in, incoming.message.Id(), incoming.subject,
                  incoming.sender.c_str());
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

// The first message stays here until the process has set itself up, and those behind it with it.
// False where the endpoint closes meanwhile: what the message would meet may never be made.
bool Endpoint::WaitForMainLoop() {
    if (std::exchange(m_hasWaited, true)) {
        return true;
    }
    constexpr std::chrono::milliseconds LOOK{1};
    const MutexLock lock(m_mutex);
    auto now = std::chrono::steady_clock::now();
    while (!m_closing && !MainLoop::HasRun() && now < m_opened + MainLoop::LIMIT) {
        m_closingChanged.WaitUntil(m_mutex, now + LOOK);
        now = std::chrono::steady_clock::now();
    }
    return !m_closing;
}

void Endpoint::Deliver(Incoming incoming, TCMessage message) {
    if (!WaitForMainLoop()) {
        return;
    }
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
        HEARTHD_PROBE(quill, message_queued, delivery->Id());
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
        if (subscription.ended) {
            return;
        }
        subscription.callback(incoming.sender.c_str(), incoming.signal, &message,
                              subscription.userData);
    }
}

} // namespace Quill

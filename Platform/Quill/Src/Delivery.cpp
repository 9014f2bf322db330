// SPDX-License-Identifier: Apache-2.0
#include "Delivery.h"

#include "Endpoint.h"
#include "JsonCodec.h"
#include "Probe.h"
#include "QuillLog.h"
#include "WireText.h"

namespace Quill {

namespace {

constexpr const char* LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded";
constexpr const char* NO_REPLY = "org.freedesktop.DBus.Error.NoReply";

} // namespace

Delivery::Delivery(std::shared_ptr<Endpoint> endpoint, Incoming incoming, TCMessage message)
    : m_endpoint(std::move(endpoint)), m_incoming(std::move(incoming)),
      m_message(std::move(message)) {}

Delivery::~Delivery() {
    if (!m_finished && IsCall()) {
        BusConnection& connection = *m_incoming.message.Connection();
        connection.ReplyError(std::move(m_incoming.message), NO_REPLY,
                              "the endpoint was closed before the message was delivered");
    }
}

void Delivery::Run() {
    // The passage is held through the answer: closing an endpoint doesn't cut off the reply of a
    // callback that it has waited for.
    const Endpoint::Callback callback(*m_endpoint);
    if (!callback.IsOpen() || (!IsCall() && m_incoming.subscription->ended)) {
        return;
    }
    TCMessage reply;
    HEARTHD_PROBE(quill, message_begun, Id(), m_incoming.subject);
    callback.Server().IfMessageReceived(Sender(), &m_message, &reply, SignalName());
    HEARTHD_PROBE(quill, message_ended, Id());
    m_finished = true;
    if (IsCall()) {
        Answer(reply);
    }
}

bool Delivery::t_OnEvent(const TCEvent* /*event*/) {
    Run();
    return true;
}

void Delivery::t_Clear(TCEvent* /*event*/) {
    delete this;
}

const char* Delivery::SignalName() const {
    return IsCall() ? nullptr : m_incoming.subscription->signal.c_str();
}

void Delivery::Answer(const TCMessage& reply) {
    std::string subject = WireText::ValidString(reply.subject);
    std::string payload = JsonCodec::Encode(reply.payload);
    BusConnection& connection = *m_incoming.message.Connection();
    if (subject.size() + payload.size() > WireText::LARGEST_TEXT) {
        QUILL_LOGW("the reply to %s is larger than the bus takes (%zu bytes): answered with "
                   "LimitsExceeded",
                   Sender(), payload.size());
        connection.ReplyError(std::move(m_incoming.message), LIMITS_EXCEEDED,
                              "the reply is larger than the bus takes");
    } else {
        connection.Reply(std::move(m_incoming.message), std::move(subject), std::move(payload));
    }
}

} // namespace Quill

// SPDX-License-Identifier: Apache-2.0

// What sd-bus calls while it processes a message: it only takes out what has come. Acting on it is
// the dispatching thread's, after the lock is released.

#include "BusRecords.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "QuillLog.h"

namespace Quill {

namespace {

// What a caller can act on has a code of its own.
int CodeOf(const sd_bus_error& error) {
    const auto is = [&error](const char* name) { return sd_bus_error_has_name(&error, name) > 0; };
    if (is(SD_BUS_ERROR_NO_REPLY) || is(SD_BUS_ERROR_TIMEOUT)) {
        return -ETIMEDOUT;
    }
    if (is(SD_BUS_ERROR_SERVICE_UNKNOWN) || is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
        return -EHOSTUNREACH;
    }
    if (is(SD_BUS_ERROR_LIMITS_EXCEEDED)) {
        return -EOVERFLOW;
    }
    return is(SD_BUS_ERROR_ACCESS_DENIED) ? -EACCES : -EREMOTEIO;
}

} // namespace

Incoming BusConnection::MakeIncoming(Incoming::Kind kind, sd_bus_message* message,
                                     const char* subject, const char* payload) {
    Incoming incoming;
    incoming.kind = kind;
    incoming.subject = subject;
    incoming.payload = payload;
    const char* const path = sd_bus_message_get_path(message); // as long as its sender likes
    incoming.size =
        (path == nullptr ? 0 : std::strlen(path)) + std::strlen(subject) + incoming.payload.size();
    incoming.message = BusMessage(shared_from_this(), sd_bus_message_ref(message));
    const char* sender = sd_bus_message_get_sender(message);
    if (sender != nullptr) {
        incoming.peer = sender;
        incoming.sender = m_senderNames.NameOf(sender);
    }
    return incoming;
}

int BusConnection::Callbacks::OnCall(sd_bus_message* message, void* self,
                                     sd_bus_error* error) NO_THREAD_SAFETY_ANALYSIS {
    auto* const connection = static_cast<BusConnection*>(self);
    const char* subject = nullptr;
    const char* payload = nullptr;
    if (sd_bus_message_read(message, "ss", &subject, &payload) < 0) {
        return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS,
                                "the arguments are not two strings of valid UTF-8");
    }
    connection->m_out->push_back(
        connection->MakeIncoming(Incoming::Kind::CALL, message, subject, payload));
    return 1;
}

int BusConnection::Callbacks::OnSignal(sd_bus_message* message, void* match,
                                       sd_bus_error* /*error*/) NO_THREAD_SAFETY_ANALYSIS {
    const Match& matched = *static_cast<Match*>(match);
    const char* name = nullptr;
    const char* subject = nullptr;
    const char* payload = nullptr;
    if (sd_bus_message_has_signature(message, "sss") <= 0 ||
        sd_bus_message_rewind(message, 1) < 0 ||
        sd_bus_message_read(message, "sss", &name, &subject, &payload) < 0) {
        QUILL_LOGD("a signal %s from %s has other arguments than three strings: dropped",
                   sd_bus_message_get_member(message), sd_bus_message_get_sender(message));
        return 0;
    }
    const Subscription& wanted = *matched.subscription;
    if (!wanted.sender.empty() &&
        !matched.connection->IsFrom(sd_bus_message_get_sender(message), wanted.sender)) {
        return 0;
    }
    if (wanted.isPrefix ? !std::string_view(name).starts_with(wanted.signal)
                        : name != wanted.signal) {
        return 0;
    }
    Incoming incoming =
        matched.connection->MakeIncoming(Incoming::Kind::SIGNAL, message, subject, payload);
    incoming.signal = name;
    incoming.size += std::strlen(name);
    incoming.subscription = matched.subscription;
    matched.connection->m_out->push_back(std::move(incoming));
    return 0; // other subscriptions may match too
}

int BusConnection::Callbacks::OnReply(sd_bus_message* message, void* call,
                                      sd_bus_error* /*error*/) NO_THREAD_SAFETY_ANALYSIS {
    auto* const answered = static_cast<OutgoingCall*>(call);
    BusConnection* const connection = answered->connection;
    const char* subject = "";
    const char* payload = "";
    PendingReply::Result result;
    if (const sd_bus_error* failure = sd_bus_message_get_error(message); failure != nullptr) {
        result.error = CodeOf(*failure);
        result.text = failure->name;
        if (failure->message != nullptr) {
            result.text += std::string(": ") + failure->message;
        }
        if (sd_bus_is_open(connection->m_bus) <= 0) { // sd-bus's own words, at its end
            result.error = -ENOTCONN;
        }
    } else if (answered->hasText && (sd_bus_message_has_signature(message, "ss") <= 0 ||
                                     sd_bus_message_read(message, "ss", &subject, &payload) < 0)) {
        result.error = -EBADMSG;
        result.text = "the reply isn't two strings";
    }
    if (answered->reply == nullptr) {
        if (result.error == 0) {
            connection->m_out->push_back(
                connection->MakeIncoming(Incoming::Kind::REPLY, message, subject, payload));
        } else {
            QUILL_LOGW("a call that nobody waits for failed: %s", result.text.c_str());
        }
    } else {
        if (result.error == 0 && answered->hasText) {
            result.subject = subject;
            result.payload = payload;
        }
        answered->reply->Complete(std::move(result));
    }
    sd_bus_slot_unref(answered->slot);
    connection->m_calls.remove_if(
        [answered](const OutgoingCall& entry) { return &entry == answered; });
    return 1;
}

int BusConnection::Callbacks::OnNameOwnerChanged(
    sd_bus_message* message, void* self, sd_bus_error* /*error*/) NO_THREAD_SAFETY_ANALYSIS {
    auto* const connection = static_cast<BusConnection*>(self);
    const char* name = nullptr;
    const char* newOwner = nullptr;
    // Anybody may send such a signal to this connection alone, for which no rule is asked.
    if (connection->IsFrom(sd_bus_message_get_sender(message), BUS_NAME) &&
        sd_bus_message_read(message, "sss", &name, nullptr, &newOwner) >= 0) {
        connection->NamesLike(name).OwnerChanged(name, newOwner);
    }
    return 0;
}

} // namespace Quill

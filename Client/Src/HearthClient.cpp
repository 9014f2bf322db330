// SPDX-License-Identifier: Apache-2.0
#include "HearthClient.h"

#include <algorithm>
#include <utility>

#include "Connection.h"
#include "Listening.h"

namespace hearthd {

using Quill::TCMessage;

namespace {

constexpr const char* ERROR_KEY = "return_error";
constexpr const char* DELIVERY_FAILED = "Delivery failed";

bool FitsInto(const Json::Value& value, int room) {
    if (!value.isObject() && !value.isArray()) {
        return true;
    }
    return room > 0 && std::all_of(value.begin(), value.end(), [room](const Json::Value& part) {
               return FitsInto(part, room - 1);
           });
}

TCMessage MakeMessage(const std::string& subject, const Json::Value& arguments) {
    if (!arguments.isObject() && !arguments.isNull()) {
        throw Failure(Reason::ARGUMENTS_REFUSED,
                      "the arguments of a call to " + subject + " must be an object, or null");
    }
    if (!FitsInto(arguments, Client::DEEPEST_NESTING)) {
        throw Failure(Reason::ARGUMENTS_REFUSED,
                      "the arguments of a call to " + subject + " are nested deeper than " +
                          std::to_string(Client::DEEPEST_NESTING) + " objects and arrays");
    }
    TCMessage message;
    message.subject = subject;
    message.payload = arguments;
    return message;
}

bool IsDeliveryFailed(const Json::Value& reply) {
    return reply.isObject() && reply.size() == 1 && reply[ERROR_KEY] == DELIVERY_FAILED;
}

Json::Value RequireDelivery(Json::Value reply, const std::string& service) {
    if (IsDeliveryFailed(reply)) {
        throw Failure(Reason::DELIVERY_FAILED,
                      "the call to " + service +
                          " wasn't delivered: there is no such service, or it isn't started, or it "
                          "answered nothing; hearthctl status and the log of hearthd tell which");
    }
    return reply;
}

} // namespace

Subscription::Subscription() = default;

Subscription::Subscription(std::shared_ptr<Listening> listening)
    : m_listening(std::move(listening)) {}

Subscription::~Subscription() {
    End();
}

Subscription::Subscription(Subscription&& other) noexcept = default;

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        End();
        m_listening = std::move(other.m_listening);
    }
    return *this;
}

void Subscription::End() {
    if (const std::shared_ptr<Listening> listening = std::exchange(m_listening, nullptr)) {
        listening->End();
    }
}

Client::Client() : m_connection(Connection::Join()) {}

Client::~Client() {
    Connection::Leave();
}

Json::Value Client::Call(const std::string& service, const Json::Value& arguments,
                         std::chrono::milliseconds limit) {
    return RequireDelivery(CallEndpoint(ROUTER, service, arguments, limit), service);
}

std::future<Json::Value> Client::CallAsync(const std::string& service,
                                           const Json::Value& arguments) {
    // A plain pointer: the connection waits for its threads, and none of them may be its last
    // owner.
    return m_connection->Later(
        [connection = m_connection.get(), message = MakeMessage(service, arguments)] {
            return RequireDelivery(connection->Ask(ROUTER, message), message.subject);
        });
}

void Client::Send(const std::string& service, const Json::Value& arguments) {
    m_connection->Send(MakeMessage(service, arguments));
}

Subscription Client::Listen(const std::string& subject, Listener listener) {
    return Subscription(m_connection->Listen(subject, std::move(listener)));
}

Subscription Client::ListenToAll(Listener listener) {
    return Subscription(m_connection->ListenToAll(std::move(listener)));
}

void Client::RequireDaemon() {
    m_connection->Ping(ROUTER);
}

Json::Value Client::CallEndpoint(const std::string& endpoint, const std::string& subject,
                                 const Json::Value& arguments, std::chrono::milliseconds limit) {
    return m_connection->Ask(endpoint, MakeMessage(subject, arguments), limit);
}

} // namespace hearthd

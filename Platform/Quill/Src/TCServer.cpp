// SPDX-License-Identifier: Apache-2.0
#include "TCServer.h"

#include <cerrno>

#include "Endpoint.h"
#include "QuillLog.h"
#include "Subscription.h"

namespace Quill {

namespace {

std::string OrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

} // namespace

// The type tells what an endpoint is used for; on D-Bus both do the same.
TCServer::TCServer(std::string name, TCServerType /*type*/)
    : m_endpoint(std::make_shared<Endpoint>(*this, std::move(name))) {}

TCServer::~TCServer() {
    m_endpoint->Close();
}

bool TCServer::IfTransferMessage(const char* /*sender*/, const TCMessage* /*message*/,
                                 TCEventIO*& /*target*/) {
    return false;
}

int TCServer::IfMessageReceived(const char* /*sender*/, const TCMessage* /*message*/,
                                TCMessage* /*reply*/, const char* /*signal*/) {
    return 0;
}

bool TCServer::IfMessageReplied(const char* /*sender*/, const TCMessage* /*message*/) {
    return false;
}

bool TCServer::CreateDBusServer() {
    return m_endpoint->Open();
}

void TCServer::CloseDBusServer() {
    m_endpoint->Close();
}

bool TCServer::SubscribeSignal(const char* sender, const char* signal, SignalCallback callback,
                               void* userData) {
    if (signal == nullptr || *signal == '\0') {
        QUILL_LOGE("a subscription needs the name of a signal");
        return false;
    }
    return m_endpoint->Subscribe(
        std::make_shared<const Subscription>(OrEmpty(sender), signal, false, callback, userData));
}

bool TCServer::SubscribeSignals(const char* sender, const char* prefix, SignalCallback callback,
                                void* userData) {
    if (prefix == nullptr || callback == nullptr) {
        QUILL_LOGE("a subscription to many signals needs a prefix and a callback");
        return false;
    }
    return m_endpoint->Subscribe(
        std::make_shared<const Subscription>(OrEmpty(sender), prefix, true, callback, userData));
}

void TCServer::UnSubscribeSignal(const char* sender, const char* signal) {
    m_endpoint->Unsubscribe(OrEmpty(sender), OrEmpty(signal));
}

int TCServer::SendMessage(const char* destination, const TCMessage* message, bool wait,
                          TCMessage* reply) {
    if (message == nullptr) {
        return -EINVAL;
    }
    return m_endpoint->SendMessage(destination, *message, wait, reply);
}

int TCServer::Ping(const char* destination) {
    return m_endpoint->Ping(destination);
}

int TCServer::SendSignal(const char* server, const char* signal, const TCMessage* message) {
    if (message == nullptr) {
        return -EINVAL;
    }
    const std::shared_ptr<Endpoint> endpoint = Endpoint::Find(OrEmpty(server));
    return endpoint == nullptr ? -ENOENT : endpoint->SendSignal(OrEmpty(signal), *message);
}

} // namespace Quill

// SPDX-License-Identifier: Apache-2.0

// The bus library's endpoint, in the place of its own: no endpoint of the process goes on a bus.
// What the router sends comes to the test, and what a service sends to the router takes the road of
// any client. Foreign endpoints, signals, and calls that don't wait for their reply aren't there.

#include "TCServer.h"

#include <cerrno>
#include <cstring>

#include "Bus.h"
#include "HostedService.h"
#include "MessageRouter.h"

namespace {

bool IsRouter(const char* name) {
    return std::strcmp(name, marrow::msg::MessageRouter::DBUS_PRIVATE_NAME) == 0;
}

} // namespace

namespace Quill {

TCServer::TCServer(std::string /*name*/, TCServerType /*type*/) : m_endpoint(nullptr) {}

TCServer::~TCServer() = default;

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
    return false;
}

void TCServer::CloseDBusServer() {}

bool TCServer::SubscribeSignal(const char* /*sender*/, const char* /*signal*/,
                               SignalCallback /*callback*/, void* /*userData*/) {
    return false;
}

bool TCServer::SubscribeSignals(const char* /*sender*/, const char* /*prefix*/,
                                SignalCallback /*callback*/, void* /*userData*/) {
    return false;
}

void TCServer::UnSubscribeSignal(const char* /*sender*/, const char* /*signal*/) {}

int TCServer::SendMessage(const char* destination, const TCMessage* message, bool wait,
                          TCMessage* reply) {
    if (!IsRouter(destination) || !wait) {
        return -EHOSTUNREACH;
    }
    TCMessage unwanted;
    return hearthd::testing::Bus::Get().Call(*message, hearthd::testing::CALL_LIMIT,
                                             reply == nullptr ? unwanted : *reply);
}

int TCServer::Ping(const char* destination) {
    return IsRouter(destination) ? 0 : -EHOSTUNREACH;
}

int TCServer::SendSignal(const char* server, const char* /*signal*/, const TCMessage* message) {
    if (!IsRouter(server)) {
        return -ENOENT;
    }
    hearthd::testing::Bus::Get().Publish(*message);
    return 0;
}

} // namespace Quill

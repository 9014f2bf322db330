// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include <systemd/sd-bus.h>

#include "BusConnection.h"

// What a connection keeps for sd-bus, and what sd-bus calls. For the seam's own sources only: this
// header brings sd-bus's with it.
namespace Quill {

// The bus itself, as the sender of a message too: nobody else can have that name.
inline constexpr const char* BUS_NAME = "org.freedesktop.DBus";

// For messages that the connection makes and drops under its lock.
struct UnrefMessage {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using OwnMessage = std::unique_ptr<sd_bus_message, UnrefMessage>;

// A signal subscription on this connection; sd-bus knows it by its address.
struct BusConnection::Match {
    BusConnection* connection;
    std::shared_ptr<const Subscription> subscription;
    sd_bus_slot* slot = nullptr;
};

// A call of ours that waits for its answer; sd-bus knows it by its address.
struct BusConnection::OutgoingCall {
    BusConnection* connection;
    std::shared_ptr<PendingReply> reply; // null: the answer goes to the endpoint
    bool hasText = true;                 // the answer is a subject and a payload
    sd_bus_slot* slot = nullptr;
};

// These run inside sd_bus_process, which only TakeOut calls, under the lock: the analysis can't see
// that through sd-bus.
struct BusConnection::Callbacks {
    static int OnCall(sd_bus_message* message, void* self, sd_bus_error* error);
    static int OnSignal(sd_bus_message* message, void* match, sd_bus_error* error);
    static int OnReply(sd_bus_message* message, void* call, sd_bus_error* error);
    static int OnNameOwnerChanged(sd_bus_message* message, void* self, sd_bus_error* error);
};

// A reply, or an error reply where it names one, that somebody will write. It owns a reference to
// the call, as `call` does, but is dropped under the lock.
struct BusConnection::WaitingReply {
    OwnMessage call;
    const char* error = nullptr;
    std::string text; // the subject, or the error's text
    std::string payload;
};

} // namespace Quill

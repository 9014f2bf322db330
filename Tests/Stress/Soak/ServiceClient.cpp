// SPDX-License-Identifier: Apache-2.0
#include "ServiceClient.h"

#include <array>
#include <shared_mutex>
#include <systemd/sd-bus.h>

#include "DaemonTest.h"
#include "SoakNames.h"

namespace {

struct Callee {
    const char* name;
    bool mayBeAway; // it is loaded and unloaded meanwhile
};

constexpr std::array CALLEES{Callee{"probe", false}, Callee{"probe2", false},
                             Callee{SOAK_SERVICE, false}, Callee{"probe3", true},
                             Callee{"probe4", true}};

int CountReply(sd_bus_message* message, void* count, sd_bus_error* /*error*/) {
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) == 0 &&
        sd_bus_message_is_signal(message, nullptr, nullptr) == 0) {
        ++*static_cast<int*>(count);
    }
    return 0;
}

} // namespace

ServiceClient::ServiceClient(int number, unsigned seed, const BusTimes& times, Moves& moves)
    : BusActor("client " + std::to_string(number), seed, times), m_number(number), m_moves(moves) {}

void ServiceClient::OnConnect(RawClient& client) {
    client.RequestName(BusName(m_number));
    sd_bus_add_filter(client.Bus(), nullptr, CountReply, &m_strays);
}

// Every second client calls without a pause.
void ServiceClient::Use(RawClient& client) {
    const Callee& callee = CALLEES[static_cast<std::size_t>(Random(0, CALLEES.size() - 1))];
    const std::string payload =
        R"({"client":)" + std::to_string(m_number) + R"(,"n":)" + std::to_string(++m_calls) + "}";
    std::shared_lock moves(m_moves, std::defer_lock);
    if (callee.mayBeAway) {
        moves.lock();
    }
    Judge(client.Call(ROUTER, callee.name, payload), payload, callee.mayBeAway);
    moves = {};
    TakeStrays(client);
    if (m_number % 2 == 0) {
        Rest(std::chrono::milliseconds(Random(0, 20)));
    }
}

void ServiceClient::Judge(const RawClient::Reply& reply, const std::string& payload,
                          bool mayBeAway) {
    if (reply.error.empty() && reply.payload == payload) {
        ++m_answered;
    } else if (mayBeAway && reply.payload == DELIVERY_FAILED) {
        ++m_refused;
    } else if (!reply.error.empty() && IsBusLost()) {
        ++m_lost;
    } else {
        Fail(payload + " was answered by " + reply.payload + reply.error + " " + reply.errorText);
    }
}

// What a call waits for doesn't pass the filter; a reply that comes once more does.
void ServiceClient::TakeStrays(RawClient& client) {
    while (sd_bus_process(client.Bus(), nullptr) > 0) {
    }
    if (m_strays > 0) {
        Fail(std::to_string(m_strays) + " replies too many");
        m_strays = 0;
    }
}

// SPDX-License-Identifier: Apache-2.0
#include "Client.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <future>
#include <sstream>
#include <unistd.h>

#include "Failure.h"

namespace hearthctl {

using Quill::TCMessage;

namespace {

std::string BusAddress() {
    const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    return address == nullptr ? "the system's address" : address;
}

std::string ClientName() {
    return "marrow.ser.client.PID_" + std::to_string(getpid());
}

std::string Seconds(std::chrono::duration<double> duration) {
    std::ostringstream text;
    text << duration.count() << " s";
    return text.str();
}

Failure FailureOf(int error, const std::string& destination) {
    switch (-error) {
    case EHOSTUNREACH:
        return {ExitStatus::NO_DAEMON, "hearthd isn't on the bus at " + BusAddress() +
                                           " (nobody there is " + destination +
                                           "): start it, with systemctl start hearthd or ./run"};
    case EACCES:
        return {ExitStatus::FAILED, "the bus's policy forbids to call " + destination +
                                        ": where that is root's alone, try again as root"};
    case ENOTCONN:
        return {ExitStatus::NO_DAEMON, "the message bus at " + BusAddress() + " has gone away"};
    case ETIMEDOUT:
        return {ExitStatus::FAILED,
                "no answer from " + destination + ", or it has ended meanwhile"};
    case EMSGSIZE:
        return {ExitStatus::FAILED, "the message is larger than the bus takes"};
    default:
        return {ExitStatus::FAILED, "calling " + destination + " failed: " + strerror(-error) +
                                        "; DLOG_LEVEL=warn shows more"};
    }
}

} // namespace

Client::Client() : TCServer(ClientName(), CLIENT), m_name(ClientName()) {
    if (!CreateDBusServer()) {
        throw Failure(ExitStatus::NO_DAEMON,
                      "there is no message bus at " + BusAddress() + ", or it refuses the name " +
                          m_name +
                          "; DLOG_LEVEL=error shows which. DBUS_SYSTEM_BUS_ADDRESS "
                          "names another bus than the system's");
    }
}

Client::~Client() {
    CloseDBusServer();
}

TCMessage Client::Call(const char* destination, const TCMessage& message,
                       std::chrono::duration<double> limit) {
    TCMessage reply;
    auto answer = std::async(std::launch::async,
                             [&] { return SendMessage(destination, &message, true, &reply); });
    if (answer.wait_for(limit) == std::future_status::timeout) {
        CloseDBusServer(); // which ends the call
        answer.wait();
        throw Failure(ExitStatus::FAILED,
                      std::string("no answer from ") + destination + " within " + Seconds(limit));
    }
    if (const int error = answer.get(); error < 0) {
        throw FailureOf(error, destination);
    }
    return reply;
}

void Client::RequireDaemon() {
    if (const int error = Ping(ROUTER); error < 0) {
        throw FailureOf(error, ROUTER);
    }
}

void Client::SendToRouter(const TCMessage& message) {
    if (const int error = SendSignal(m_name.c_str(), ROUTER_SIGNAL, &message); error < 0) {
        throw FailureOf(error, ROUTER);
    }
}

} // namespace hearthctl

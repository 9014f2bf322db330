// SPDX-License-Identifier: Apache-2.0
#include "Failures.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace hearthd {

Failure::Failure(Reason why, const std::string& text) : std::runtime_error(text), m_why(why) {}

Failure::~Failure() = default;

std::string BusAddress() {
    const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    return address == nullptr ? "the system's address" : address;
}

Failure FailureOf(int error, const std::string& endpoint) {
    switch (-error) {
    case EHOSTUNREACH:
        return {Reason::NO_DAEMON, "hearthd isn't on the bus at " + BusAddress() +
                                       " (nobody there is " + endpoint +
                                       "): start it, with systemctl start hearthd or ./run"};
    case EACCES:
        return {Reason::REFUSED, "the bus's policy forbids to call " + endpoint +
                                     ": where that is root's alone, try again as root"};
    case ENOTCONN:
        return {Reason::NO_BUS, "the message bus at " + BusAddress() + " has gone away"};
    case ETIMEDOUT:
        return {Reason::DAEMON_ENDED,
                endpoint + " has left the bus ahead of its answer: look into the log of hearthd"};
    case EMSGSIZE:
        return {Reason::ARGUMENTS_TOO_LARGE, "the message is larger than the bus takes"};
    case EOVERFLOW:
        return {Reason::TOO_MUCH, "the reply of " + endpoint +
                                      " is larger than the bus takes, or too many calls wait for "
                                      "theirs at once"};
    case EBADMSG:
        return {Reason::BAD_REPLY,
                "the reply of " + endpoint +
                    " is no JSON that is taken here: a service has answered with what JSON has no "
                    "form for, or something else than hearthd has its name"};
    default:
        return {Reason::OTHER, "calling " + endpoint + " failed: " + strerror(-error) +
                                   "; DLOG_LEVEL=warn shows more"};
    }
}

Failure TimedOut(const std::string& endpoint, std::chrono::milliseconds limit) {
    std::ostringstream text;
    text << "no answer from " << endpoint << " within "
         << std::chrono::duration<double>(limit).count() << " s";
    return {Reason::TIMED_OUT, text.str()};
}

} // namespace hearthd

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

#include "TCServer.h"

namespace hearthctl {

/// hearthctl as a client on the bus. The router knows clients by the name that it takes, which
/// holds the process id.
///
/// The main thread calls; a call that takes too long is left to a thread of its own.
class Client : public Quill::TCServer {
public:
    static constexpr const char* ROUTER = "marrow.ser.server.MessageRouter";
    static constexpr const char* ROUTER_SIGNAL = "marrow_ser_server_MRSignal__";
    static constexpr const char* DEBUG_SHELL = "debugshell_C";

    /// The bus itself gives a call up after this time.
    static constexpr std::chrono::seconds LONGEST_WAIT{25};

    /// Goes on the bus. Throws a Failure where there is none.
    Client();
    ~Client() override;

    /// Sends a call and returns the reply. Throws a Failure that says what to do where there is
    /// none, or none in time.
    Quill::TCMessage Call(const char* destination, const Quill::TCMessage& message,
                          std::chrono::duration<double> limit = LONGEST_WAIT);

    /// Throws a Failure unless the daemon is on the bus.
    void RequireDaemon();

    /// Sends a signal to the router, which passes it to the service that the message names.
    void SendToRouter(const Quill::TCMessage& message);

private:
    const std::string m_name;
};

} // namespace hearthctl

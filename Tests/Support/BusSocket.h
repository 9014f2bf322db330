// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "FileDescriptor.h"

/// A connection to the bus that DBUS_SYSTEM_BUS_ADDRESS names, as its bytes: what no library would
/// send, and nothing read that isn't asked for. One thread.
class BusSocket {
public:
    /// Connects and is greeted by the bus.
    BusSocket();

    /// The bytes of one call of quill.Endpoint1.Call, with a serial number of its own.
    std::string Call(const std::string& destination, const std::string& subject,
                     std::string_view payload);
    /// The same of org.freedesktop.DBus.Introspectable.Introspect.
    std::string Introspect(const std::string& destination);
    /// False where the bus has closed the connection, or takes nothing for half a minute.
    bool Write(std::string_view bytes) const;

    /// Hangs up; from any thread.
    void Shutdown() const;

    /// Waits until there is something to read, or the bus has closed the connection.
    bool WaitForInput(std::chrono::seconds limit = std::chrono::seconds(20)) const;

private:
    void ReadLine() const;
    void Drain() const;

    marrow::base::FileDescriptor m_socket;
    std::uint32_t m_serial = 0;
};

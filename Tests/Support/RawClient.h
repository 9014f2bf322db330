// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;

/// A D-Bus client that speaks the wire by hand, right or wrong. One thread.
class RawClient {
public:
    struct Reply {
        std::string error; ///< the error's name; empty for a reply
        std::string errorText;
        std::string subject;
        std::string payload;
    };

    struct Signal {
        std::string sender;
        std::string member;
        std::vector<std::string> arguments;
    };

    /// Connects to the bus that DBUS_SYSTEM_BUS_ADDRESS names.
    RawClient();
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    std::string UniqueName() const;
    void RequestName(const std::string& name);
    void ReleaseName(const std::string& name);
    bool NameHasOwner(const std::string& name);

    /// Calls quill.Endpoint1.Call and waits for the answer.
    Reply Call(const std::string& destination, const std::string& subject,
               const std::string& payload, std::chrono::seconds limit = std::chrono::seconds(30));
    /// Sends the call and doesn't wait; `noReply` sets the message's flag.
    void Send(const std::string& destination, const std::string& subject,
              const std::string& payload, bool noReply = false);
    /// Any call at all, with arguments that are all strings.
    Reply CallMember(const std::string& destination, const std::string& path,
                     const std::string& interface, const std::string& member,
                     const std::vector<std::string>& arguments);
    /// Calls with one argument that isn't a string.
    Reply CallWithNumber(const std::string& destination, int number);
    /// Calls with two strings and a file descriptor.
    Reply CallWithDescriptor(const std::string& destination, int descriptor);
    /// A signal of the endpoints' interface with these string arguments.
    void SendSignal(const std::string& member, const std::vector<std::string>& arguments);
    /// Any signal at all, with arguments that are all strings, to this one connection: it gets it
    /// whatever it listens to.
    void SendSignalTo(const std::string& destination, const std::string& path,
                      const std::string& interface, const std::string& member,
                      const std::vector<std::string>& arguments);
    /// The introspection data of an endpoint.
    std::string Introspect(const std::string& destination);

    /// Listens to signals; then Next gives them one by one, or nothing after `limit`.
    void Match(const std::string& rule);
    std::optional<Signal> Next(std::chrono::seconds limit = std::chrono::seconds(20));

    sd_bus* Bus() { return m_bus; }

private:
    sd_bus* m_bus = nullptr;
    std::vector<Signal> m_signals;
};

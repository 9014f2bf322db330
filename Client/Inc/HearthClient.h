// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

#include <json/value.h>

// The client side of hearthd: calls to services, and their notifications.
//
//     hearthd::Client client;
//     Json::Value arguments;
//     arguments["text"] = "hello";
//     std::cout << client.Call("echo", arguments)["text"].asString() << '\n';
//
// What goes wrong in a call here is thrown as a Failure, whose text says what to do. Beside that
// the bus library writes warnings to the log; on a PC that is standard error, and the environment
// variable DLOG_LEVEL ("debug", "info", "warn", "error" or "off") says from which level on.
namespace hearthd {

enum class Reason {
    NO_BUS,              ///< there is no message bus, or none just now, or it refuses our name; a
                         ///< call that was under way when it went may have reached its service
    NO_DAEMON,           ///< nobody on the bus has the daemon's name
    REFUSED,             ///< the bus refuses it: by its policy, or for one of its limits
    DELIVERY_FAILED,     ///< no such service, or it isn't started, gave up, or answered nothing
    TIMED_OUT,           ///< no answer in time; the service may go on with the call
    DAEMON_ENDED,        ///< the daemon has left the bus ahead of its answer
    ARGUMENTS_REFUSED,   ///< neither an object nor null, or nested deeper than DEEPEST_NESTING
    ARGUMENTS_TOO_LARGE, ///< more than the bus takes, 32 MiB less 8 KiB as JSON text
    TOO_MUCH,            ///< the reply is larger than that, or too many calls wait at once
    BAD_REPLY,    ///< the answer isn't JSON: it has an infinity in it, or somebody else sent it
    CLIENT_ENDED, ///< the process's last Client went ahead of the answer
    OTHER,
};

class Failure : public std::runtime_error {
public:
    Failure(Reason why, const std::string& text);
    ~Failure() override;

    Reason Why() const { return m_why; }

private:
    Reason m_why;
};

struct Notification {
    std::string subject;
    Json::Value payload; ///< an object, or null
};

/// Receives notifications. All listeners of a process are called on one thread of the library's
/// own, one at a time and in the order in which the notifications came. A listener may do what any
/// thread may, calls and waits for them too; what comes meanwhile is kept in memory until it
/// returns. It neither makes nor ends a Client.
///
/// An exception that leaves it ends the process (std::terminate).
using Listener = std::function<void(const Notification&)>;

class Listening;

/// Listens as long as it lives, and no longer than the process's last Client. One thread at a time.
class Subscription {
public:
    /// Listens to nothing.
    Subscription();
    explicit Subscription(std::shared_ptr<Listening> listening);
    ~Subscription();
    Subscription(Subscription&& other) noexcept;
    Subscription& operator=(Subscription&& other) noexcept;

    /// When it returns the listener isn't running, won't be called again, and has been destroyed.
    /// In the listener itself it returns at once; the running call is the last one then. Harmless a
    /// second time.
    void End();

private:
    std::shared_ptr<Listening> m_listening;
};

class Connection;

/// A client of the daemon, on the bus as marrow.ser.client.PID_<process id>: the daemon knows
/// clients by names of this form. Any thread, several at a time.
///
/// The name belongs to the process, and so all its clients share one connection, which ends with
/// the last of them. When the bus goes away, calls fail with NO_BUS until it is there again;
/// subscriptions go on by themselves then, as they do when the daemon starts anew. What was
/// published in between is lost. A process that forks uses its clients on one side only.
class Client {
public:
    /// Where a call goes: the daemon's endpoint.
    static constexpr const char* ROUTER = "marrow.ser.server.MessageRouter";
    /// The bus library gives a call up after this time.
    static constexpr std::chrono::seconds LONGEST_WAIT{25};
    /// In how many objects and arrays a value of the arguments may stand.
    static constexpr int DEEPEST_NESTING = 128;

    /// Goes on the bus that DBUS_SYSTEM_BUS_ADDRESS names, or else the system's. Throws a Failure,
    /// NO_BUS, where that can't be done; a later try may work.
    Client();
    /// Where it is the last one: ends all subscriptions, as Subscription::End does, and every call
    /// with CLIENT_ENDED. Not in a listener: it would wait for itself, and ends the process.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Calls the service and waits for its reply, which is any value but null, {} and [].
    /// `arguments` is an object, or null for none. Throws a Failure where there is no reply within
    /// `limit`: at most LONGEST_WAIT, which longer ones are cut to.
    Json::Value Call(const std::string& service, const Json::Value& arguments = {},
                     std::chrono::milliseconds limit = LONGEST_WAIT);

    /// Calls the service and doesn't wait. The future gets the reply, or the Failure that Call
    /// would throw, after LONGEST_WAIT at the latest; it may be dropped. Calls that are under way
    /// at the same time have a thread each and aren't ordered: meant for dozens. Throws a Failure
    /// itself: ARGUMENTS_REFUSED, or OTHER where the system has no thread to give.
    std::future<Json::Value> CallAsync(const std::string& service,
                                       const Json::Value& arguments = {});

    /// Sends to the service, which does what a call would have it do and doesn't answer. Throws a
    /// Failure where it doesn't go out; nothing tells whether it has arrived.
    void Send(const std::string& service, const Json::Value& arguments = {});

    /// Has `listener` called for each notification with this subject from now on. Throws a Failure:
    /// REFUSED, or OTHER without a thread. While there is no daemon, or no bus, it waits for them.
    [[nodiscard]] Subscription Listen(const std::string& subject, Listener listener);

    /// The same for all subjects: for tools that show what is going on, as the bus brings every
    /// notification here then, until the process's last client has gone.
    [[nodiscard]] Subscription ListenToAll(Listener listener);

    /// Throws a Failure, NO_DAEMON for one, unless the daemon is on the bus and answers.
    void RequireDaemon();

    /// Calls another endpoint, such as the debug shell's, and gives its reply as it is. Otherwise
    /// as Call, but for DELIVERY_FAILED: what the daemon answers then is a reply like any other.
    Json::Value CallEndpoint(const std::string& endpoint, const std::string& subject,
                             const Json::Value& arguments,
                             std::chrono::milliseconds limit = LONGEST_WAIT);

private:
    const std::shared_ptr<Connection> m_connection;
};

} // namespace hearthd

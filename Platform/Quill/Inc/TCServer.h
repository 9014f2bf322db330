// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "TCEventIO.h"
#include "TCMessage.h"

namespace Quill {

class Endpoint;

/// An endpoint on D-Bus: it receives calls and signals under a name of its own, and sends them.
///
/// The endpoint has a dispatching thread of its own, which makes the callbacks below. No lock of
/// the bus is held during a callback: it may take as long as it wants and may send. An exception
/// that leaves a callback ends the process.
///
/// The endpoint comes back by itself when the bus goes away: it connects again with growing pauses,
/// takes its name and its subscriptions again, and says so in the log.
///
/// Calls and signals for IfMessageReceived wait until the process's main loop (GLib's, the default
/// context's) has run: a process sets itself up first. In one that never runs it they wait until
/// the endpoint has been open for five seconds.
///
/// Names: the bus name is the endpoint's name where that is a valid well-known name
/// (the D-Bus standard, "Valid Names"); a name without a dot is owned as "quill." + name.
class TCServer {
public:
    enum TCServerType : int {
        SERVER = 0, ///< answers calls and receives signals
        CLIENT = 1, ///< sends synchronous messages, and receives as the other does
    };

    /// Receives a signal that SubscribeSignal asked for, on the dispatching thread. `sender` is as
    /// in IfMessageReceived; `message` may be changed and ends with the call.
    using SignalCallback = void (*)(const char* sender, const char* signal, TCMessage* message,
                                    void* userData);

    TCServer(std::string name, TCServerType type);
    /// Closes the endpoint where its owner hasn't.
    virtual ~TCServer();
    TCServer(const TCServer&) = delete;
    TCServer& operator=(const TCServer&) = delete;

    /// First for each incoming message. `sender` is the sender's well-known name in this
    /// endpoint's own top-level name space, as the bus tells it, else its unique name.
    ///
    /// With true and a `target`, IfMessageReceived for this message runs on the thread of
    /// `target`; otherwise on the dispatching thread. A target whose queue has ended meanwhile
    /// counts as none. The default answers false.
    virtual bool IfTransferMessage(const char* sender, const TCMessage* message,
                                   TCEventIO*& target);

    /// Delivers a message. `message` is the very object that IfTransferMessage saw and ends when
    /// this call has returned. `signal` is null for a call and the signal's name otherwise. What
    /// stands in `reply` afterwards is sent to a caller, whatever the result is; a signal has no
    /// reply. Returns 1 when the message was taken and 0 when not. The default answers 0.
    virtual int IfMessageReceived(const char* sender, const TCMessage* message, TCMessage* reply,
                                  const char* signal);

    /// The answer to a SendMessage that didn't wait, on the dispatching thread. None comes of a
    /// call that failed: the log says so. The default answers false.
    virtual bool IfMessageReplied(const char* sender, const TCMessage* message);

    /// Puts the endpoint on the bus and starts its dispatching thread; callbacks can come from here
    /// on. Returns false when the bus isn't there yet, or the system has no thread to give: the
    /// endpoint goes on trying, for the thread once GLib's main loop runs. False for good where no
    /// bus name comes of the endpoint's. True also where another has the name: it waits in line,
    /// and the log says so.
    bool CreateDBusServer();

    /// Takes the endpoint off the bus. When it returns no callback is running and none will come;
    /// messages that still wait in a queue are answered with an error. Not from a callback: it
    /// would wait for itself, is refused, and the log says so. This and CreateDBusServer: one
    /// thread at a time.
    void CloseDBusServer();

    /// Asks for the signals of a name. `sender` is a bus name, or null for any sender. They go to
    /// `callback` with `userData`, or through IfTransferMessage and IfMessageReceived where
    /// `callback` is null. Any thread, also before CreateDBusServer. Returns false, and logs why,
    /// where the bus refuses; while there is no bus it is kept for later.
    bool SubscribeSignal(const char* sender, const char* signal, SignalCallback callback,
                         void* userData);

    /// Asks for the signals of all names that begin with `prefix`, for tools that show what is
    /// going on; `callback` isn't null. Otherwise as SubscribeSignal. It ends with the endpoint.
    bool SubscribeSignals(const char* sender, const char* prefix, SignalCallback callback,
                          void* userData);

    /// Ends all subscriptions of this sender and signal that SubscribeSignal has made. Signals that
    /// wait are dropped; a callback that is running goes on, and so does one that is just about to
    /// begin on another thread.
    void UnSubscribeSignal(const char* sender, const char* signal);

    /// Sends a call to the endpoint named `destination`, by the naming rule above. With `wait` it
    /// blocks until the reply has come, 25 seconds as a rule and 26 at the most, and fills `reply`
    /// where that isn't null; without, the answer goes to IfMessageReplied. Any thread, a
    /// callback's too. The endpoint's dispatching thread takes the reply off the bus: in a
    /// callback, and while it waits for the main loop, it doesn't. Returns 0, or a negative errno
    /// value: -EINVAL for no message and for a destination of which no bus name comes, -EMSGSIZE
    /// for more than the bus takes, -ENOTCONN without a bus, -ETIMEDOUT, -EHOSTUNREACH where nobody
    /// has that name, -EACCES where the bus's policy forbids it, -EOVERFLOW where a limit was
    /// exceeded (the reply's size, or the number of calls that wait for theirs), -EBADMSG for a
    /// reply that is no JSON, -EREMOTEIO for any other error reply. Why a call failed that was sent
    /// goes to the log.
    int SendMessage(const char* destination, const TCMessage* message, bool wait, TCMessage* reply);

    /// Asks the endpoint named `destination` for a sign of life. Returns as SendMessage does,
    /// without a word in the log.
    int Ping(const char* destination);

    /// Sends a signal from the endpoint named `server`, which is one of this process. Any thread.
    /// Returns 0, or a negative errno value: -ENOENT when there is no such endpoint, else as
    /// SendMessage.
    static int SendSignal(const char* server, const char* signal, const TCMessage* message);

private:
    const std::shared_ptr<Endpoint> m_endpoint;
};

} // namespace Quill

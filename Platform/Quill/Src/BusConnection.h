// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Mutex.h"
#include "PendingReply.h"
#include "SenderNames.h"
#include "Subscription.h"

struct sd_bus;
struct sd_bus_message;
struct sd_bus_slot;

namespace Quill {

class BusConnection;

/// A reference to a received message. The last one to go takes the connection's lock, so it must
/// not go while that lock is held.
class BusMessage {
public:
    BusMessage() = default;
    BusMessage(std::shared_ptr<BusConnection> connection, sd_bus_message* message);
    ~BusMessage();
    BusMessage(BusMessage&& other) noexcept;
    BusMessage& operator=(BusMessage&& other) noexcept;
    BusMessage(const BusMessage&) = delete;
    BusMessage& operator=(const BusMessage&) = delete;

    const std::shared_ptr<BusConnection>& Connection() const { return m_connection; }
    /// For tracing: the same for a message all along its road.
    const void* Id() const { return m_message; }

private:
    friend class BusConnection;
    std::shared_ptr<BusConnection> m_connection;
    sd_bus_message* m_message = nullptr;
};

/// A message that was taken off the bus. The views point into it.
struct Incoming {
    enum class Kind { CALL, SIGNAL, REPLY };

    Kind kind = Kind::CALL;
    BusMessage message;
    const char* peer = ""; ///< the sender's connection to the bus, which has one name for good
    std::string sender;    ///< as callbacks get it
    const char* subject = "";
    std::string_view payload;
    const char* signal = nullptr; ///< of a signal: its exact name
    std::size_t size = 0;         ///< bytes, but for what is small in each message
    std::shared_ptr<const Subscription> subscription; ///< of a signal
};

// One connection to the message bus: the seam around sd-bus, whose header only BusRecords.h and the
// sources behind it include.
//
// sd-bus isn't thread-safe at all, not even in taking a reference, so that every call into it
// stands under m_mutex. Nothing else happens there: a message is taken out inside sd_bus_process,
// and the dispatching thread acts on it after the lock is released, because acting may wait for a
// service whose own thread is just sending. The dispatching thread polls outside the lock.
//
// A worker that answers doesn't wait for m_mutex, which the dispatching thread holds while it takes
// out a burst. It puts its reply into m_replies and tries the lock: if it gets it, it writes to the
// socket itself, and if not, whoever holds it writes for it. A holder looks into m_replies before
// it lets go and once more afterwards, so that no reply stays behind; everybody who sends something
// else writes the waiting replies first, so that what a thread sends stays in its order.
//
// The poller is woken only when the socket was full and output is left to write, or when somebody
// has read messages into sd-bus's own queue, where poll doesn't see them.
//
// A bus may stop taking what it is sent: to dbus-daemon the replies that a peer leaves unread count
// as the sender's. With too much waiting to be written, nothing more is taken out, as each call
// would bring another reply. And a bus that reads nothing at all for LONGEST_STALL is as good as
// gone: the dispatching thread looks at the socket now and then, as long as something has been sent
// and isn't read.
//
// TakeOut, IsHeldUp and WaitForWork belong to one thread, the dispatching one; everything else may
// be called from any thread. A connection that has broken stays broken: each call answers with an
// error, and the endpoint makes a new one.
class BusConnection : public std::enable_shared_from_this<BusConnection> {
public:
    /// Connects to the system bus and follows the owners of names below `nameSpace`. Returns null
    /// on failure, with the reason in `error`.
    static std::shared_ptr<BusConnection> Open(std::string_view nameSpace, std::string& error);

    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    /// Asks for a well-known name, in the queue behind its owner if it has one. Returns 1 for
    /// owner, 0 for queued, or a negative errno value.
    int RequestName(const std::string& name);
    int Subscribe(std::shared_ptr<const Subscription> subscription);
    void Unsubscribe(const Subscription* subscription);

    /// Appends about `most` messages to `out`, fewer large ones. With none it only writes, but for
    /// a message beside each part of one that the bus takes. Returns 1 when there may be more, 0
    /// when there is nothing more now, or a negative errno value when the connection is gone:
    /// -ETIMEDOUT where the bus takes nothing any more.
    int TakeOut(std::vector<Incoming>& out, std::size_t most);
    /// Whether so much waits to be written that nothing should be acted on before a later TakeOut,
    /// as the last one found.
    bool IsHeldUp() const { return m_isHeldUp; }
    /// Waits until TakeOut has work to do or Wake was called. After a TakeOut that answered 0. When
    /// it gets quiet, free memory goes back to the system.
    void WaitForWork();
    void Wake();

    // Sending. Strings are valid for the bus.
    /// A reply that the bus doesn't take is lost: its caller is gone then, or the bus is.
    void Reply(BusMessage call, std::string subject, std::string payload);
    /// `name` is a constant.
    void ReplyError(BusMessage call, const char* name, std::string text);
    /// Returns 0 or a negative errno value, as does Call.
    int SendSignal(const std::string& name, const std::string& subject, const std::string& payload);
    /// `reply` gets the answer; where it is null the answer comes out of TakeOut.
    int Call(const std::string& destination, const std::string& subject, const std::string& payload,
             std::shared_ptr<PendingReply> reply);
    /// Asks for a sign of life; returns as Call does.
    int Ping(const std::string& destination, std::shared_ptr<PendingReply> reply);

    /// Lets no more calls out, and ends those that wait for an answer with an error; replies and
    /// signals still go.
    void AbandonCalls();
    /// Writes what is left to write, as long as the bus takes it, and leaves the bus.
    void Close();

private:
    friend class BusMessage;
    struct Match;
    struct OutgoingCall;
    struct WaitingReply;
    class Holder;
    struct Callbacks; // what sd-bus calls

    struct Private {};

public:
    BusConnection(Private, sd_bus* bus, int wakeDescriptor, std::string_view nameSpace);

private:
    static int OpenSystemBus(sd_bus*& bus);
    int Process(std::vector<Incoming>& out, std::size_t most) REQUIRES(m_mutex);
    int ProcessSome(std::vector<Incoming>& out, std::size_t most) REQUIRES(m_mutex);
    bool LookWhetherItWrites() REQUIRES(m_mutex);
    bool LookWhetherBusReads() REQUIRES(m_mutex);
    bool WatchWhetherBusReads() REQUIRES(m_mutex);
    bool HasLongQueue() REQUIRES(m_mutex);
    void PrepareToWait(bool toWrite) REQUIRES(m_mutex);
    void WriteOut(std::vector<Incoming>& dropped) REQUIRES(m_mutex);
    int FollowOwners() REQUIRES(m_mutex);
    int MatchOwners(const std::string& filter) REQUIRES(m_mutex);
    void AskForOwner(const char* name) REQUIRES(m_mutex);
    void FollowForeignName(const std::string& name) REQUIRES(m_mutex);
    SenderNames& NamesLike(std::string_view name) REQUIRES(m_mutex);
    bool IsFrom(const char* sender, std::string_view name) REQUIRES(m_mutex);
    Incoming MakeIncoming(Incoming::Kind kind, sd_bus_message* message, const char* subject,
                          const char* payload) REQUIRES(m_mutex);
    void Enqueue(WaitingReply reply) EXCLUDES(m_mutex);
    void WriteReplies() REQUIRES(m_mutex);
    void WriteRepliesUnlessBusy() EXCLUDES(m_mutex);
    bool HasReplies() EXCLUDES(m_repliesMutex);
    int WriteReply(const WaitingReply& reply) REQUIRES(m_mutex);
    int Send(sd_bus_message* message, std::size_t size) REQUIRES(m_mutex);
    int SendCall(sd_bus_message* message, std::size_t size, OutgoingCall record) REQUIRES(m_mutex);
    bool HasOutput() REQUIRES(m_mutex);
    bool WaitForRoom(int milliseconds) REQUIRES(m_mutex);
    void NoteOutput(std::size_t size) REQUIRES(m_mutex);
    void Unref(sd_bus_message* message) EXCLUDES(m_mutex);

    const int m_wakeDescriptor;
    const std::string m_nameSpace;

    marrow::base::SpinningMutex m_mutex;
    // Below: guarded by m_mutex.
    sd_bus* const m_bus PT_GUARDED_BY(m_mutex);
    SenderNames m_senderNames GUARDED_BY(m_mutex);        // of m_nameSpace
    SenderNames m_foreignNames GUARDED_BY(m_mutex);       // others, which subscriptions name
    std::set<std::string> m_followed GUARDED_BY(m_mutex); // those
    std::list<Match> m_matches GUARDED_BY(m_mutex);
    std::list<OutgoingCall> m_calls GUARDED_BY(m_mutex);
    bool m_callsAbandoned GUARDED_BY(m_mutex) = false;
    std::vector<Incoming>* m_out GUARDED_BY(m_mutex) = nullptr; // set inside TakeOut only
    std::size_t m_unwritten GUARDED_BY(m_mutex) = 0;            // bytes of text, about
    // Of what the bus hasn't read; in microseconds of the monotonic clock.
    bool m_mayBeUnread GUARDED_BY(m_mutex) = false;
    std::size_t m_unread GUARDED_BY(m_mutex) = 0;  // as the kernel counts it, at the last look
    std::size_t m_written GUARDED_BY(m_mutex) = 0; // bytes of text since then, or fewer
    std::uint64_t m_lastRead GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_nextLook GUARDED_BY(m_mutex) = 0;

    marrow::base::SpinningMutex m_repliesMutex; // inside m_mutex, where both are held
    std::vector<WaitingReply> m_replies GUARDED_BY(m_repliesMutex);
    std::vector<WaitingReply> m_repliesInHand GUARDED_BY(m_mutex); // empty outside WriteReplies

    // The dispatching thread's own: what to poll for, from TakeOut to WaitForWork.
    int m_pollDescriptor = -1;
    short m_pollEvents = 0;
    std::uint64_t m_pollDeadline = 0;
    bool m_isHeldUp = false;
    bool m_isTidy = true; // since the last message has memory been given back
};

} // namespace Quill

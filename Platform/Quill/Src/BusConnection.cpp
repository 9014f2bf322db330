// SPDX-License-Identifier: Apache-2.0
#include "BusConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

#include "BusRecords.h"
#include "FreeMemory.h"
#include "Probe.h"
#include "QuillLog.h"
#include "TimeSpec.h"
#include "WireText.h"

namespace Quill {

using marrow::base::MutexLock;

namespace {

// Text that may wait to be written before no more messages are taken out.
constexpr std::size_t MOST_UNWRITTEN = 8U << 20;
constexpr std::size_t MOST_TAKEN_OUT = 1U << 20; // bytes, with which a TakeOut ends
constexpr std::uint64_t LONGEST_QUEUE = 8192;    // messages, whatever they hold
// Microseconds.
constexpr std::uint64_t LONGEST_STALL = 5000000;
constexpr std::uint64_t LOOK_INTERVAL = 500000;
constexpr std::uint64_t QUIET =
    std::chrono::microseconds(marrow::base::QUIET_BEFORE_RETURN).count();
constexpr int LONGEST_STALL_AT_CLOSE = 1000; // milliseconds
constexpr std::uint64_t NO_DEADLINE = std::numeric_limits<std::uint64_t>::max();

constexpr const char* SYSTEM_BUS_ADDRESS = "unix:path=/run/dbus/system_bus_socket";
constexpr const char* BUS_PATH = "/org/freedesktop/DBus";

// 0 or a negative errno value, one and the same wherever the connection has ended.
int ResultOf(int result) {
    switch (result) {
    case -ECONNRESET:
    case -EPIPE:
    case -ESHUTDOWN:
        return -ENOTCONN;
    default:
        return std::min(result, 0);
    }
}

std::uint64_t MonotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000U +
           static_cast<std::uint64_t>(now.tv_nsec) / 1000U;
}

} // namespace

BusMessage::BusMessage(std::shared_ptr<BusConnection> connection, sd_bus_message* message)
    : m_connection(std::move(connection)), m_message(message) {}

BusMessage::BusMessage(BusMessage&& other) noexcept
    : m_connection(std::move(other.m_connection)),
      m_message(std::exchange(other.m_message, nullptr)) {}

BusMessage& BusMessage::operator=(BusMessage&& other) noexcept {
    std::swap(m_connection, other.m_connection);
    std::swap(m_message, other.m_message);
    return *this;
}

BusMessage::~BusMessage() {
    if (m_message != nullptr) {
        m_connection->Unref(m_message);
    }
}

// Holds m_mutex for a section that uses the bus: every one of them does it through this, so that no
// reply stays behind.
class SCOPED_CAPABILITY BusConnection::Holder {
public:
    explicit Holder(BusConnection& connection) ACQUIRE(connection.m_mutex)
        : m_connection(connection) {
        m_connection.m_mutex.lock();
        m_connection.WriteReplies();
    }
    ~Holder() RELEASE() {
        m_connection.m_mutex.unlock();
        m_connection.WriteRepliesUnlessBusy();
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

private:
    BusConnection& m_connection;
};

BusConnection::BusConnection(Private, sd_bus* bus, int wakeDescriptor, std::string_view nameSpace)
    : m_wakeDescriptor(wakeDescriptor), m_nameSpace(nameSpace), m_bus(bus) {}

BusConnection::~BusConnection() {
    Close();
    {
        const Holder holder(*this);
        sd_bus_unref(m_bus);
    }
    close(m_wakeDescriptor);
}

// As sd_bus_open_system does, and takes no file descriptors: nothing here wants them, and those
// that come with waiting messages would fill the process's table.
int BusConnection::OpenSystemBus(sd_bus*& bus) {
    int result = sd_bus_new(&bus);
    if (result < 0) {
        return result;
    }
    const char* const address = secure_getenv("DBUS_SYSTEM_BUS_ADDRESS");
    result = sd_bus_set_address(bus, address != nullptr ? address : SYSTEM_BUS_ADDRESS);
    if (result >= 0) {
        result = sd_bus_set_bus_client(bus, 1);
    }
    if (result >= 0) {
        result = sd_bus_negotiate_fds(bus, 0);
    }
    if (result >= 0) {
        result = sd_bus_start(bus);
    }
    if (result < 0) {
        bus = sd_bus_close_unref(bus);
    }
    return result;
}

std::shared_ptr<BusConnection> BusConnection::Open(std::string_view nameSpace, std::string& error) {
    static const sd_bus_vtable vtable[] = {
        SD_BUS_VTABLE_START(0),
        // UNPRIVILEGED: who may call is the bus policy's affair. Without it sd-bus would ask the
        // bus for each caller's credentials.
        SD_BUS_METHOD_WITH_NAMES("Call", "ss", SD_BUS_PARAM(subject) SD_BUS_PARAM(payload), "ss",
                                 SD_BUS_PARAM(subject) SD_BUS_PARAM(payload), &Callbacks::OnCall,
                                 SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };

    sd_bus* bus = nullptr;
    int result = OpenSystemBus(bus);
    if (result < 0) {
        error = std::string("cannot connect to the system bus: ") + strerror(-result);
        return nullptr;
    }
    const int wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeDescriptor < 0) {
        error = std::string("eventfd: ") + strerror(errno);
        sd_bus_close_unref(bus);
        return nullptr;
    }
    auto connection = std::make_shared<BusConnection>(Private{}, bus, wakeDescriptor, nameSpace);
    const Holder holder(*connection);
    result = sd_bus_add_object_vtable(bus, nullptr, WireText::OBJECT_PATH, WireText::INTERFACE,
                                      vtable, connection.get());
    if (result >= 0) {
        result = connection->FollowOwners();
    }
    if (result < 0) {
        error = std::string("cannot set up the bus connection: ") + strerror(-result);
    }
    return result < 0 ? nullptr : connection;
}

// The rule comes ahead of the question, so that no change falls between the two.
int BusConnection::FollowOwners() {
    int result = MatchOwners("arg0namespace='" + m_nameSpace + "'");
    if (result < 0) {
        return result;
    }
    char** names = nullptr;
    result = sd_bus_list_names(m_bus, &names, nullptr);
    if (result < 0) {
        return result;
    }
    for (char** name = names; name != nullptr && *name != nullptr; ++name) {
        if ((*name)[0] != ':' && WireText::TopLevel(*name) == m_nameSpace) {
            AskForOwner(*name);
        }
        free(*name);
    }
    free(names);
    return 0;
}

int BusConnection::MatchOwners(const std::string& filter) {
    const std::string rule = "type='signal',sender='org.freedesktop.DBus',"
                             "interface='org.freedesktop.DBus',member='NameOwnerChanged'," +
                             filter;
    return sd_bus_add_match(m_bus, nullptr, rule.c_str(), Callbacks::OnNameOwnerChanged, this);
}

// A name that nobody owns, not even any more, is no loss.
void BusConnection::AskForOwner(const char* name) {
    sd_bus_message* raw = nullptr;
    if (sd_bus_call_method(m_bus, BUS_NAME, BUS_PATH, BUS_NAME, "GetNameOwner", nullptr, &raw, "s",
                           name) < 0) {
        return;
    }
    const OwnMessage answer(raw);
    const char* owner = nullptr;
    if (sd_bus_message_read(raw, "s", &owner) >= 0) {
        NamesLike(name).OwnerChanged(name, owner);
    }
}

void BusConnection::FollowForeignName(const std::string& name) {
    if (&NamesLike(name) == &m_foreignNames && sd_bus_service_name_is_valid(name.c_str()) > 0 &&
        m_followed.insert(name).second) {
        MatchOwners("arg0='" + name + "'");
        AskForOwner(name.c_str());
    }
}

SenderNames& BusConnection::NamesLike(std::string_view name) {
    return WireText::TopLevel(name) == m_nameSpace ? m_senderNames : m_foreignNames;
}

// The bus compares a rule's sender only in what it sends to all: a signal to this connection alone
// comes here from whoever made it, and for another rule.
bool BusConnection::IsFrom(const char* sender, std::string_view name) {
    return sender != nullptr && (name == sender || NamesLike(name).IsOwner(sender, name));
}

int BusConnection::RequestName(const std::string& name) {
    int result = 0;
    {
        const Holder holder(*this);
        result = sd_bus_request_name(m_bus, name.c_str(), SD_BUS_NAME_QUEUE);
    }
    Wake();
    return result;
}

int BusConnection::Subscribe(std::shared_ptr<const Subscription> subscription) {
    int result = 0;
    {
        const Holder holder(*this);
        FollowForeignName(subscription->sender);
        const std::string rule =
            subscription->isPrefix
                ? WireText::AllSignalsMatch(subscription->sender)
                : WireText::SignalMatch(subscription->sender, subscription->signal);
        Match& match = m_matches.emplace_back(Match{this, std::move(subscription)});
        result = sd_bus_add_match(m_bus, &match.slot, rule.c_str(), Callbacks::OnSignal, &match);
        if (result < 0) {
            m_matches.pop_back();
        }
    }
    Wake();
    return ResultOf(result);
}

void BusConnection::Unsubscribe(const Subscription* subscription) {
    const Holder holder(*this);
    m_matches.remove_if([subscription](const Match& match) {
        if (match.subscription.get() != subscription) {
            return false;
        }
        sd_bus_slot_unref(match.slot);
        return true;
    });
    NoteOutput(0);
}

int BusConnection::TakeOut(std::vector<Incoming>& out, std::size_t most) {
    const Holder holder(*this);
    return Process(out, most);
}

int BusConnection::Process(std::vector<Incoming>& out, std::size_t most) {
    if (!LookWhetherBusReads()) {
        m_isHeldUp = false;
        return -ETIMEDOUT;
    }
    const bool writes = LookWhetherItWrites();
    if (m_isHeldUp && !writes) {
        PrepareToWait(true);
        return 0;
    }
    if (most == 0 && !writes) {
        return 1;
    }
    const int result = ProcessSome(out, m_isHeldUp ? 0 : most);
    if (result == 0) {
        PrepareToWait(false);
    }
    return result;
}

// Whether there is something to write and room for it. It finds as well whether too much is left.
bool BusConnection::LookWhetherItWrites() {
    const bool hasOutput = HasOutput();
    const bool writes = hasOutput && WaitForRoom(0);
    if (!hasOutput) {
        m_unwritten = 0;
    } else if (writes) {
        m_lastRead = MonotonicMicroseconds();
    } else {
        WatchWhetherBusReads(); // of what sd-bus answers by itself, nobody else does
    }
    // A connection that has just ended keeps its queue, and has nothing to write any more.
    m_isHeldUp = hasOutput && (m_unwritten > MOST_UNWRITTEN || HasLongQueue());
    return writes;
}

// Each turn writes all it can, or reads or dispatches one message; the bound keeps sending threads
// from waiting on a busy connection.
int BusConnection::ProcessSome(std::vector<Incoming>& out, std::size_t most) {
    const std::size_t before = out.size();
    const std::size_t full = before + std::max<std::size_t>(most, 1);
    const std::size_t turns = std::max<std::size_t>(4 * most, 1);
    m_out = &out;
    int result = 1;
    std::size_t size = 0;
    for (std::size_t turn = 0;
         result > 0 && out.size() < full && turn < turns && size < MOST_TAKEN_OUT; ++turn) {
        const std::size_t known = out.size();
        result = sd_bus_process(m_bus, nullptr);
        WriteReplies();
        size += out.size() > known ? out.back().size : 0;
    }
    m_out = nullptr;
    m_isTidy = m_isTidy && out.size() == before;
    return std::min(result, 1);
}

bool BusConnection::LookWhetherBusReads() {
    if (!m_mayBeUnread) {
        return true;
    }
    const std::uint64_t now = MonotonicMicroseconds();
    if (now < m_nextLook) {
        return true;
    }
    int count = 0;
    ioctl(sd_bus_get_fd(m_bus), SIOCOUTQ, &count);
    const auto unread = static_cast<std::size_t>(std::max(count, 0));
    // The kernel counts more than the text, so that this is no guess: if nothing was read, what was
    // written is there as well.
    // And where nobody has looked for longer, as the thread was in a callback, nothing is known.
    if (unread < m_unread + m_written || now > m_nextLook + LOOK_INTERVAL) {
        m_lastRead = now;
    }
    m_unread = unread;
    m_written = 0;
    m_mayBeUnread = unread > 0 || HasOutput();
    m_nextLook = now + LOOK_INTERVAL;
    return !m_mayBeUnread || now - m_lastRead < LONGEST_STALL;
}

void BusConnection::PrepareToWait(bool toWrite) {
    m_pollDescriptor = sd_bus_get_fd(m_bus);
    const int events = toWrite ? POLLOUT : sd_bus_get_events(m_bus);
    m_pollEvents = static_cast<short>(std::max(events, 0));
    if (toWrite || sd_bus_get_timeout(m_bus, &m_pollDeadline) < 0) {
        m_pollDeadline = NO_DEADLINE;
    }
    if (m_mayBeUnread) {
        m_isTidy = false;
        m_pollDeadline = std::min(m_pollDeadline, m_nextLook);
    } else if (!m_isTidy) {
        m_pollDeadline = std::min(m_pollDeadline, MonotonicMicroseconds() + QUIET);
    }
}

void BusConnection::WaitForWork() {
    timespec timeout{};
    const timespec* limit = nullptr;
    if (m_pollDeadline != NO_DEADLINE) {
        const std::uint64_t now = MonotonicMicroseconds();
        timeout = marrow::base::ToTimeSpec(
            std::chrono::microseconds(m_pollDeadline > now ? m_pollDeadline - now : 0));
        limit = &timeout;
    }
    std::array<pollfd, 2> descriptors{pollfd{m_pollDescriptor, m_pollEvents, 0},
                                      pollfd{m_wakeDescriptor, POLLIN, 0}};
    const int ready = ppoll(descriptors.data(), descriptors.size(), limit, nullptr);
    if (ready > 0 && descriptors[1].revents != 0) {
        eventfd_t count = 0;
        eventfd_read(m_wakeDescriptor, &count);
    } else if (ready == 0 && !m_isTidy) {
        m_isTidy = true;
        marrow::base::ReturnFreeMemory();
    }
}

void BusConnection::Wake() {
    eventfd_write(m_wakeDescriptor, 1);
}

bool BusConnection::HasOutput() {
    const int events = sd_bus_get_events(m_bus);
    return events > 0 && (events & POLLOUT) != 0;
}

bool BusConnection::WaitForRoom(int milliseconds) {
    pollfd descriptor{sd_bus_get_fd(m_bus), POLLOUT, 0};
    int ready = -1;
    do {
        ready = poll(&descriptor, 1, milliseconds);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

bool BusConnection::HasLongQueue() {
    std::uint64_t count = 0;
    return sd_bus_get_n_queued_write(m_bus, &count) >= 0 && count > LONGEST_QUEUE;
}

// Returns whether that is new.
bool BusConnection::WatchWhetherBusReads() {
    if (m_mayBeUnread) {
        return false;
    }
    m_mayBeUnread = true;
    m_unread = 0;
    m_written = 0;
    m_lastRead = MonotonicMicroseconds();
    m_nextLook = m_lastRead + LOOK_INTERVAL;
    return true;
}

void BusConnection::NoteOutput(std::size_t size) {
    const bool hasOutput = HasOutput();
    if (WatchWhetherBusReads() || hasOutput) {
        Wake();
    }
    if (hasOutput) { // of which nobody knows how much is written
        m_unwritten += size;
        m_written = 0;
    } else {
        m_written += size;
    }
}

int BusConnection::Send(sd_bus_message* message, std::size_t size) {
    const int result = sd_bus_send(m_bus, message, nullptr);
    NoteOutput(size);
    return ResultOf(result);
}

void BusConnection::Unref(sd_bus_message* message) {
    const Holder holder(*this);
    sd_bus_message_unref(message);
}

void BusConnection::Reply(BusMessage call, std::string subject, std::string payload) {
    Enqueue({OwnMessage(std::exchange(call.m_message, nullptr)), nullptr, std::move(subject),
             std::move(payload)});
}

void BusConnection::ReplyError(BusMessage call, const char* name, std::string text) {
    Enqueue({OwnMessage(std::exchange(call.m_message, nullptr)), name, std::move(text), {}});
}

void BusConnection::Enqueue(WaitingReply reply) {
    {
        const MutexLock lock(m_repliesMutex);
        m_replies.push_back(std::move(reply));
    }
    WriteRepliesUnlessBusy();
}

// Whoever holds the lock meanwhile looks here again after letting go of it.
void BusConnection::WriteRepliesUnlessBusy() {
    while (HasReplies()) {
        if (!m_mutex.try_lock()) {
            return;
        }
        WriteReplies();
        m_mutex.unlock();
    }
}

bool BusConnection::HasReplies() {
    const MutexLock lock(m_repliesMutex);
    return !m_replies.empty();
}

void BusConnection::WriteReplies() {
    {
        const MutexLock lock(m_repliesMutex);
        m_repliesInHand.swap(m_replies);
    }
    for (const WaitingReply& reply : m_repliesInHand) {
        const int result = WriteReply(reply);
        HEARTHD_PROBE(quill, reply_out, reply.call.get());
        if (result < 0) {
            QUILL_LOGD("a reply could not be sent: %s", strerror(-result));
        }
    }
    m_repliesInHand.clear();
}

int BusConnection::WriteReply(const WaitingReply& reply) {
    sd_bus_message* raw = nullptr;
    int result = 0;
    if (reply.error != nullptr) {
        const sd_bus_error error{reply.error, reply.text.c_str(), 0};
        result = sd_bus_message_new_method_error(reply.call.get(), &raw, &error);
    } else {
        result = sd_bus_message_new_method_return(reply.call.get(), &raw);
        if (result >= 0) {
            result = sd_bus_message_append(raw, "ss", reply.text.c_str(), reply.payload.c_str());
        }
    }
    const OwnMessage message(raw);
    return result < 0 ? result : Send(raw, reply.text.size() + reply.payload.size());
}

int BusConnection::SendSignal(const std::string& name, const std::string& subject,
                              const std::string& payload) {
    const std::string member = WireText::SignalMember(name);
    const Holder holder(*this);
    sd_bus_message* raw = nullptr;
    int result = sd_bus_message_new_signal(m_bus, &raw, WireText::OBJECT_PATH, WireText::INTERFACE,
                                           member.c_str());
    const OwnMessage signal(raw);
    if (result >= 0) {
        result = sd_bus_message_append(raw, "sss", name.c_str(), subject.c_str(), payload.c_str());
    }
    return result < 0 ? result : Send(raw, subject.size() + payload.size());
}

int BusConnection::Call(const std::string& destination, const std::string& subject,
                        const std::string& payload, std::shared_ptr<PendingReply> reply) {
    const Holder holder(*this);
    sd_bus_message* raw = nullptr;
    int result =
        sd_bus_message_new_method_call(m_bus, &raw, destination.c_str(), WireText::OBJECT_PATH,
                                       WireText::INTERFACE, WireText::CALL_METHOD);
    const OwnMessage message(raw);
    if (result >= 0) {
        result = sd_bus_message_append(raw, "ss", subject.c_str(), payload.c_str());
    }
    return result < 0 ? result
                      : SendCall(raw, subject.size() + payload.size(), {this, std::move(reply)});
}

int BusConnection::Ping(const std::string& destination, std::shared_ptr<PendingReply> reply) {
    const Holder holder(*this);
    sd_bus_message* raw = nullptr;
    const int result =
        sd_bus_message_new_method_call(m_bus, &raw, destination.c_str(), WireText::OBJECT_PATH,
                                       "org.freedesktop.DBus.Peer", "Ping");
    const OwnMessage message(raw);
    return result < 0 ? result : SendCall(raw, 0, {this, std::move(reply), false});
}

int BusConnection::SendCall(sd_bus_message* message, std::size_t size, OutgoingCall record) {
    if (m_callsAbandoned) {
        return -ENOTCONN;
    }
    OutgoingCall& call = m_calls.emplace_back(std::move(record));
    const int result = sd_bus_call_async(m_bus, &call.slot, message, Callbacks::OnReply, &call, 0);
    if (result < 0) {
        m_calls.pop_back();
        return ResultOf(result);
    }
    NoteOutput(size); // and so, the poller sees this call's time limit at its next look
    return 0;
}

void BusConnection::AbandonCalls() {
    {
        const Holder holder(*this);
        m_callsAbandoned = true;
        for (const OutgoingCall& call : m_calls) {
            sd_bus_slot_unref(call.slot);
            if (call.reply != nullptr) {
                call.reply->Complete({-ENOTCONN, "the bus connection is gone", {}, {}});
            }
        }
        m_calls.clear();
    }
    Wake(); // the dispatching thread may be among those that wait
}

// sd_bus_flush would wait for ever for a bus that takes nothing.
void BusConnection::WriteOut(std::vector<Incoming>& dropped) {
    m_out = &dropped;
    while (HasOutput() && WaitForRoom(LONGEST_STALL_AT_CLOSE) &&
           sd_bus_process(m_bus, nullptr) >= 0) {
    }
    m_out = nullptr;
}

void BusConnection::Close() {
    AbandonCalls();
    std::vector<Incoming> dropped; // they take the lock when they go
    const Holder holder(*this);
    WriteOut(dropped);
    sd_bus_close(m_bus);
    for (const Match& match : m_matches) {
        sd_bus_slot_unref(match.slot);
    }
    m_matches.clear();
}

} // namespace Quill

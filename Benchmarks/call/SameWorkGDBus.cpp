// SPDX-License-Identifier: Apache-2.0

// A server on GDBus that does for each call what the daemon does, by the plain means of the
// libraries: what the daemon's road is fairly measured beside.
//
//     bench-work-gdbus BUS-NAME
//
// On the main loop's thread the payload is decoded and the call entered as pending; on the worker's
// it is logged with its payload, timed and copied as a call to a service is, answered with what it
// was given, encoded and replied to. The log lines are the daemon's, at the same levels and each on
// the thread where the daemon writes it. The caller is told by its unique name: the daemon looks up
// its well-known one.

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <json/json.h>

#include "LibraryJson.h"
#include "Log.h"
#include "Mutex.h"
#include "PerformanceMonitor.h"
#include "PrintRecordHandler.h"
#include "ServeOnGDBus.h"

namespace {

using marrow::base::Condition;
using marrow::base::Mutex;
using marrow::base::MutexLock;

struct Message {
    Json::Value payload;
    std::string subject;
};

struct Call {
    GDBusMethodInvocation* invocation; // ended by the reply
    Message message;
};

// Any thread. The lock guards the table alone.
class PendingTable {
public:
    void Enter(const Call& call) {
        const char* const sender = g_dbus_method_invocation_get_sender(call.invocation);
        const MutexLock lock(m_mutex);
        LOGI("%d pending messages", static_cast<int>(m_senders.size()));
        m_senders[&call.message] = sender;
    }

    void Erase(const Call& call) {
        const MutexLock lock(m_mutex);
        m_senders.erase(&call.message);
    }

private:
    Mutex m_mutex;
    std::map<const Message*, std::string> m_senders GUARDED_BY(m_mutex);
};

// The service, as the daemon has it behind its control and its proxy. The worker's alone.
class EchoService {
public:
    Message Route(const Message& message) {
        const std::string name = message.subject;
        LOGI("Calling [%s] API with data :\n%s\n", name.c_str(),
             message.payload.toStyledString().c_str());
        const std::string tag = name + "_CALL_API";
        PerformanceMonitor::Get().Start(tag);
        Message reply = CallApi(message);
        PerformanceMonitor::Get().Stop(tag);
        return reply;
    }

private:
    // One copy into the call, and one of the reply out of it.
    Message CallApi(Message message) {
        m_reply = std::move(message);
        return m_reply;
    }

    Message m_reply;
};

// Calls come from the main loop's thread and are handled on one of its own. The lock guards the
// queue, and the table has its own.
class Server {
public:
    Server() {
        std::thread([this] { Run(); }).detach();
    }

    void Push(std::unique_ptr<Call> call) {
        m_pending.Enter(*call);
        const MutexLock lock(m_mutex);
        m_calls.push_back(std::move(call));
        m_changed.NotifyOne();
    }

private:
    [[noreturn]] void Run() {
        while (true) {
            Handle(*Next());
        }
    }

    std::unique_ptr<Call> Next() {
        const MutexLock lock(m_mutex);
        while (m_calls.empty()) {
            m_changed.Wait(m_mutex);
        }
        std::unique_ptr<Call> call = std::move(m_calls.front());
        m_calls.pop_front();
        return call;
    }

    void Handle(const Call& call) {
        LOGI("DBUS Message received from %s", g_dbus_method_invocation_get_sender(call.invocation));
        const Message reply = m_service.Route(call.message);
        m_pending.Erase(call);
        const std::string payload = EncodeByLibrary(reply.payload);
        g_dbus_method_invocation_return_value(
            call.invocation, g_variant_new("(ss)", reply.subject.c_str(), payload.c_str()));
    }

    PendingTable m_pending;
    EchoService m_service;
    Mutex m_mutex;
    Condition m_changed;
    std::deque<std::unique_ptr<Call>> m_calls GUARDED_BY(m_mutex);
};

void OnCall(GDBusConnection*, const char*, const char*, const char*, const char*,
            GVariant* parameters, GDBusMethodInvocation* invocation, void*) {
    static auto* const server = new Server; // for the life of the process, as its thread is
    const char* subject = nullptr;
    const char* payload = nullptr;
    g_variant_get(parameters, "(&s&s)", &subject, &payload);
    auto call = std::make_unique<Call>();
    std::string error = "the top level is no object";
    if (!DecodeByLibrary(payload, call->message.payload, error) ||
        !call->message.payload.isObject()) {
        g_dbus_method_invocation_return_dbus_error(
            invocation, "org.freedesktop.DBus.Error.InvalidArgs", error.c_str());
        return;
    }
    call->invocation = invocation;
    call->message.subject = subject;
    server->Push(std::move(call));
}

} // namespace

int main(int count, char** arguments) {
    PerformanceMonitor::Get().AddRecordHandler(new PrintRecordHandler);
    return ServeOnGDBus(count, arguments, OnCall);
}

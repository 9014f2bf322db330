// SPDX-License-Identifier: Apache-2.0

// A client: calls a service's API, or waits for notifications.
//
//     hearthd-call SERVICE [JSON-OBJECT]      prints the reply's JSON; exits 1 on "return_error"
//     hearthd-call --listen SUBJECT [COUNT]   prints COUNT notifications (default 1) and exits

#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unistd.h>

#include <hearthd/TCServer.h>

namespace {

constexpr const char* ROUTER = "marrow.ser.server.MessageRouter";
constexpr const char* ROUTER_SIGNAL = "marrow_ser_server_MRSignal__";
constexpr std::chrono::seconds LONGEST_SILENCE{30};

enum Exit { OK = 0, FAILED = 1, USAGE = 2, NO_BUS = 3 };

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

bool Parse(std::string_view text, Json::Value& value) {
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (reader->parse(text.data(), text.data() + text.size(), &value, &errors) &&
        value.isObject()) {
        return true;
    }
    std::cerr << "hearthd-call: the second argument is no JSON object\n" << errors;
    return false;
}

int Call(Quill::TCServer& client, const std::string& service, std::string_view arguments) {
    Quill::TCMessage message;
    message.subject = service;
    if (!arguments.empty() && !Parse(arguments, message.payload)) {
        return USAGE;
    }
    Quill::TCMessage reply;
    if (client.SendMessage(ROUTER, &message, true, &reply) < 0) {
        return FAILED;
    }
    std::cout << Compact(reply.payload) << '\n';
    return reply.payload.isObject() && reply.payload.isMember("return_error") ? FAILED : OK;
}

struct Listener {
    std::mutex mutex;
    std::condition_variable heard;
    long count = 0;
};

void OnNotification(const char* /*sender*/, const char* /*signal*/, Quill::TCMessage* message,
                    void* userData) {
    auto& listener = *static_cast<Listener*>(userData);
    const std::scoped_lock lock(listener.mutex);
    std::cout << message->subject << ' ' << Compact(message->payload) << std::endl;
    ++listener.count;
    listener.heard.notify_one();
}

int Listen(Quill::TCServer& client, const std::string& subject, long count) {
    Listener listener;
    const std::string signal = ROUTER_SIGNAL + subject;
    if (!client.SubscribeSignal(nullptr, signal.c_str(), OnNotification, &listener)) {
        return FAILED;
    }
    std::unique_lock lock(listener.mutex);
    for (long heard = 0; heard < count; heard = listener.count) {
        if (!listener.heard.wait_for(lock, LONGEST_SILENCE,
                                     [&] { return listener.count > heard; })) {
            std::cerr << "hearthd-call: nothing heard under \"" << subject << "\"\n";
            lock.unlock();
            client.CloseDBusServer(); // no notification may find the listener gone
            return FAILED;
        }
    }
    lock.unlock();
    client.CloseDBusServer();
    return OK;
}

} // namespace

int main(int count, char** arguments) {
    const std::string first = count > 1 ? arguments[1] : "";
    const bool listen = first == "--listen";
    if (count < (listen ? 3 : 2) || count > (listen ? 4 : 3) || first == "--help") {
        std::cerr << "usage: hearthd-call SERVICE [JSON-OBJECT]\n"
                     "       hearthd-call --listen SUBJECT [COUNT]\n";
        return USAGE;
    }
    // The router knows clients by names of this form.
    Quill::TCServer client("marrow.ser.client.PID_" + std::to_string(getpid()),
                           Quill::TCServer::CLIENT);
    if (!client.CreateDBusServer()) {
        std::cerr
            << "hearthd-call: no bus; DBUS_SYSTEM_BUS_ADDRESS names another than the system's\n";
        return NO_BUS;
    }
    if (listen) {
        return Listen(client, arguments[2], count > 3 ? std::atol(arguments[3]) : 1);
    }
    return Call(client, first, count > 2 ? arguments[2] : "");
}

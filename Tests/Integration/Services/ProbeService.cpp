// SPDX-License-Identifier: Apache-2.0

// A service that does what a call's "do" says:
//
//     echo      answers with the payload
//     empty     answers with an empty payload
//     list      answers with an array that has no elements
//     change    changes the message and answers with the thread's name
//     sleep     sleeps "ms" milliseconds and answers
//     notify    notifies under "subject" with the payload, and answers
//     hang      as sleep, in a function of its own that a stack shows
//     large     answers with a text of "size" bytes
//     throw     lets an exception out

#include <array>
#include <chrono>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

#ifndef SERVICE_NAME
#define SERVICE_NAME "probe"
#endif

// Not a tail call, so that it stands on the stack while it waits.
extern "C" __attribute__((noinline)) int HangHereForTheTest(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return milliseconds;
}

namespace {

class ProbeService : public marrow::ser::Service {
public:
    ProbeService() : Service(SERVICE_NAME) {}

protected:
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

std::string ThreadName() {
    std::array<char, 32> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

class ProbeProxy : public marrow::ser::ServiceProxy {
public:
    ProbeProxy() : ServiceProxy(SERVICE_NAME) {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        const Json::Value payload = message.payload;
        const std::string command = payload["do"].isString() ? payload["do"].asString() : "echo";
        Quill::TCMessage reply;
        reply.payload = payload;
        if (command == "empty") {
            reply.payload = Json::Value();
        } else if (command == "list") {
            reply.payload = Json::arrayValue;
        } else if (command == "change") {
            message.payload.clear();
            message.subject = "changed";
            reply.payload["thread"] = ThreadName();
        } else if (command == "sleep") {
            std::this_thread::sleep_for(std::chrono::milliseconds(payload["ms"].asInt()));
        } else if (command == "hang") {
            reply.payload["hung"] = HangHereForTheTest(payload["ms"].asInt());
        } else if (command == "notify") {
            Quill::TCMessage notification;
            notification.subject = payload["subject"].asString();
            notification.payload = payload;
            SendNotification(notification);
        } else if (command == "large") {
            reply.payload["text"] = std::string(payload["size"].asUInt(), 'x');
        } else if (command == "throw") {
            throw std::runtime_error("thrown by the service");
        }
        return reply;
    }
};

} // namespace

marrow::ser::IService* g_service = new ProbeService;
marrow::ser::IServiceProxy* g_service_proxy = new ProbeProxy;

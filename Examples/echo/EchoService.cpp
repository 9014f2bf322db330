// SPDX-License-Identifier: Apache-2.0

// The smallest service with an API. It answers {"text": "..."} with the same text and its length:
//
//     hearthctl call echo '{"text": "hello"}'

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

namespace {

constexpr const char* SERVICE_NAME = "echo";

class EchoService : public marrow::ser::Service {
public:
    EchoService() : Service(SERVICE_NAME) {}

protected:
    // Both run on this service's own thread.
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

class EchoProxy : public marrow::ser::ServiceProxy {
public:
    // The same name as the service's, so that calls run on the service's thread.
    EchoProxy() : ServiceProxy(SERVICE_NAME) {}

protected:
    // Clients send what they like, and an exception that leaves this function ends the daemon: look
    // at a value's type before you use it.
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        const Json::Value& text = message.payload["text"];
        if (!text.isString()) {
            reply.payload["error"] = "\"text\" is missing or no string";
            return reply;
        }
        reply.payload["text"] = text;
        reply.payload["length"] = static_cast<Json::UInt64>(text.asString().size());
        return reply;
    }
};

} // namespace

marrow::ser::IService* g_service = new EchoService;
marrow::ser::IServiceProxy* g_service_proxy = new EchoProxy;

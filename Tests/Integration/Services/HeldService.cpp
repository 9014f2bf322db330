// SPDX-License-Identifier: Apache-2.0

// A service that stands still in its constructor, its start, a call or its stop, for as long as the
// folder that HEARTHD_TEST_HOLDS names has a file "constructor", "start", "call" or "stop". It says
// on standard output that it is held there, and that it has come loose.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

#include "Say.h"

namespace {

void Pass(const std::string& place) {
    const char* const folder = std::getenv("HEARTHD_TEST_HOLDS");
    const std::filesystem::path hold = std::filesystem::path(folder) / place;
    if (!std::filesystem::exists(hold)) {
        return;
    }
    Say("held in " + place);
    while (std::filesystem::exists(hold)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    Say("loose from " + place);
}

class HeldService : public marrow::ser::Service {
public:
    HeldService() : Service("held") { Pass("constructor"); }

protected:
    bool OnStart() override {
        Pass("start");
        return true;
    }
    bool OnStop() override {
        Pass("stop");
        return true;
    }
};

class HeldProxy : public marrow::ser::ServiceProxy {
public:
    HeldProxy() : ServiceProxy("held") {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Pass("call");
        Quill::TCMessage reply;
        reply.payload = message.payload;
        return reply;
    }
};

} // namespace

marrow::ser::IService* g_service = new HeldService;
marrow::ser::IServiceProxy* g_service_proxy = new HeldProxy;

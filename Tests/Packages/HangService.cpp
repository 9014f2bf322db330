// SPDX-License-Identifier: Apache-2.0

// A service whose calls take eight seconds, in which a client can die.

#include <chrono>
#include <thread>

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

namespace {

class HangService : public marrow::ser::Service {
public:
    HangService() : Service("hang") {}

protected:
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

class HangProxy : public marrow::ser::ServiceProxy {
public:
    HangProxy() : ServiceProxy("hang") {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        std::this_thread::sleep_for(std::chrono::seconds(8));
        return message;
    }
};

} // namespace

marrow::ser::IService* g_service = new HangService;
marrow::ser::IServiceProxy* g_service_proxy = new HangProxy;

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

#include "SampleLogic.h"

namespace {

constexpr const char* SERVICE_NAME = "sample";

class SampleService : public marrow::ser::Service {
public:
    SampleService() : marrow::ser::Service(SERVICE_NAME) {}

protected:
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

class SampleProxy : public marrow::ser::ServiceProxy {
public:
    // With the service's name, so that calls run on the service's own thread.
    SampleProxy() : marrow::ser::ServiceProxy(SERVICE_NAME) {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        reply.payload = m_logic.Answer(message.payload);
        return reply;
    }

private:
    SampleLogic m_logic;
};

} // namespace

marrow::ser::IService* g_service = new SampleService;
marrow::ser::IServiceProxy* g_service_proxy = new SampleProxy;

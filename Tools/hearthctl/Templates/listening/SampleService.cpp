#include <hearthd/Dlog.h>
#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <hearthd/WorkerFactory.h>

#include "AnythingListener.h"
#include "SampleLogic.h"

namespace {

constexpr const char* SERVICE_NAME = "sample";

// Everything runs on the service's own thread: there is nothing to lock.
class SampleProxy : public marrow::ser::ServiceProxy {
public:
    SampleProxy() : marrow::ser::ServiceProxy(SERVICE_NAME) {}
    // Events that were queued before OnStop may be queued still. A call passes behind them, and
    // waits for that.
    ~SampleProxy() override { marrow::ser::ServiceProxy::CallAPI({}); }

    // With all sources, or none.
    bool StartListening() {
        bool isListening = true;
        isListening = (m_anything.Start() || Complain("anything")) && isListening;
        if (!isListening) {
            StopListening();
        }
        return isListening;
    }

    void StopListening() {
        // Those that haven't started do nothing.
        m_anything.Stop();
    }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        reply.payload = m_logic.Answer(message.payload);
        return reply;
    }

private:
    static bool Complain(const char* source) {
        __dlog_print(DLOG_ERROR, "sample", "there are no events of %s\n", source);
        return false;
    }

    const std::shared_ptr<marrow::ser::Worker> m_worker =
        marrow::ser::WorkerFactory::Get().GetWorker(SERVICE_NAME);
    SampleLogic m_logic;
    AnythingListener m_anything{m_worker, [this](auto& event) { m_logic.Take("anything", event); }};
};

class SampleService : public marrow::ser::Service {
public:
    explicit SampleService(SampleProxy& proxy)
        : marrow::ser::Service(SERVICE_NAME), m_proxy(proxy) {}

protected:
    bool OnStart() override { return m_proxy.StartListening(); }

    bool OnStop() override {
        m_proxy.StopListening();
        return true;
    }

private:
    SampleProxy& m_proxy;
};

SampleProxy* const g_proxy = new SampleProxy;

} // namespace

marrow::ser::IService* g_service = new SampleService(*g_proxy);
marrow::ser::IServiceProxy* g_service_proxy = g_proxy;

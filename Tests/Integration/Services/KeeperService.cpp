// SPDX-License-Identifier: Apache-2.0

// A service that keeps a number in the configuration: {"set": 5} sets it, {} asks for it, and each
// change is notified under the subject "kept".

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <hearthd/VConfEventProxy.h>
#include <hearthd/WorkerFactory.h>

namespace {

using marrow::evt::VConfData;
using marrow::evt::VConfEventProxy;

constexpr const char* NAME = "keeper";
constexpr const char* KEY = "db/test/kept";

int Kept() {
    int number = -1;
    VConfEventProxy::GetInstance().GetValue(KEY, number);
    return number;
}

class KeeperProxy : public marrow::ser::ServiceProxy, public VConfEventProxy::IListener {
public:
    KeeperProxy() : ServiceProxy(NAME) {}
    // Events that were queued ahead of OnStop are for this listener; a call passes behind them.
    ~KeeperProxy() override { ServiceProxy::CallAPI({}); }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        if (message.payload.isObject() && message.payload.isMember("set") &&
            !VConfEventProxy::GetInstance().SetValue(KEY, message.payload["set"].asInt())) {
            reply.payload["error"] = "not kept";
        } else {
            reply.payload["kept"] = Kept();
        }
        return reply;
    }

private:
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return m_worker; }

    void OnEvent(VConfData /*changed*/) override {
        Quill::TCMessage message;
        message.subject = "kept";
        message.payload["kept"] = Kept();
        SendNotification(message);
    }

    const std::shared_ptr<marrow::ser::Worker> m_worker =
        marrow::ser::WorkerFactory::Get().GetWorker(NAME);
};

KeeperProxy* const g_keeper = new KeeperProxy;

class KeeperService : public marrow::ser::Service {
public:
    KeeperService() : Service(NAME) {}

protected:
    bool OnStart() override {
        VConfEventProxy::GetInstance().Subscribe(KEY, g_keeper);
        return true;
    }
    bool OnStop() override {
        VConfEventProxy::GetInstance().Unsubscribe(KEY, g_keeper);
        return true;
    }
};

} // namespace

marrow::ser::IService* g_service = new KeeperService;
marrow::ser::IServiceProxy* g_service_proxy = g_keeper;

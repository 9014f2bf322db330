// SPDX-License-Identifier: Apache-2.0

// A service that notifies under the subject "key" of each key for the volume.

#include <hearthd/HostedLibrary.h>
#include <hearthd/KeyEventProxy.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <hearthd/WorkerFactory.h>

namespace {

using marrow::evt::key_event_arg_t;
using marrow::evt::KeyEventProxy;

constexpr const char* NAME = "keys";

class KeysProxy : public marrow::ser::ServiceProxy, public KeyEventProxy::IListener {
public:
    KeysProxy() : ServiceProxy(NAME) {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override { return message; }

private:
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return m_worker; }

    void OnEvent(key_event_arg_t event) override {
        Quill::TCMessage message;
        message.subject = "key";
        message.payload["name"] = event.keyname;
        SendNotification(message);
    }

    const std::shared_ptr<marrow::ser::Worker> m_worker =
        marrow::ser::WorkerFactory::Get().GetWorker(NAME);
};

KeysProxy* const g_keys = new KeysProxy;

class KeysService : public marrow::ser::Service {
public:
    KeysService() : Service(NAME) {}

protected:
    bool OnStart() override {
        KeyEventProxy::Get().Subscribe(g_keys, {"XF86AudioRaiseVolume", "XF86AudioLowerVolume"});
        return true;
    }
    bool OnStop() override { return false; } // it stays for good
};

} // namespace

marrow::ser::IService* g_service = new KeysService;
marrow::ser::IServiceProxy* g_service_proxy = g_keys;

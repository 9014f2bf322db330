// SPDX-License-Identifier: Apache-2.0

// The volume: takes the remote control's keys, keeps what they set in the configuration, and
// notifies under the subject "volume" whenever the configuration changes, whoever has changed it:
//
//     hearthctl start volume
//     hearthctl call volume '{"set": 35}'
//     vconf set db/audio/volume 40
//     hearthctl monitor volume

#include <cstdlib>
#include <string>

#include <hearthd/Dlog.h>
#include <hearthd/HostedLibrary.h>
#include <hearthd/KeyEventProxy.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <hearthd/VConfEventProxy.h>
#include <hearthd/WorkerFactory.h>

#include "Volume.h"

namespace {

using marrow::evt::key_event_arg_t;
using marrow::evt::KeyEventProxy;
using marrow::evt::VConfData;
using marrow::evt::VConfEventProxy;

constexpr const char* SERVICE_NAME = "volume";
constexpr int KEY_DOWN = 0;

void Complain(const char* words) {
    __dlog_print(DLOG_ERROR, "VOLUME", "%s\n", words);
}

// It listens to two sources. Everything but GetWorker runs on the service's worker: there is
// nothing to lock.
class VolumeProxy : public marrow::ser::ServiceProxy,
                    private KeyEventProxy::IListener,
                    private VConfEventProxy::IListener {
public:
    VolumeProxy() : ServiceProxy(SERVICE_NAME) {}
    // Events that were queued before OnStop may be queued still, for this listener. A call passes
    // behind them, and it waits for that.
    ~VolumeProxy() override { ServiceProxy::CallAPI({}); }

    void StartListening() {
        m_isListening = true;
        VConfEventProxy::GetInstance().Subscribe(Volume::LEVEL_KEY, this);
        VConfEventProxy::GetInstance().Subscribe(Volume::MUTE_KEY, this);
        KeyEventProxy::Get().Subscribe(
            this, {"XF86AudioRaiseVolume", "XF86AudioLowerVolume", "XF86AudioMute"});
    }

    void StopListening() {
        m_isListening = false;
        KeyEventProxy::Get().Unsubscribe(this);
        VConfEventProxy::GetInstance().Unsubscribe(Volume::LEVEL_KEY, this);
        VConfEventProxy::GetInstance().Unsubscribe(Volume::MUTE_KEY, this);
    }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        reply.payload = m_volume.Answer(message.payload);
        return reply;
    }

private:
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return m_worker; }

    void OnEvent(key_event_arg_t event) override {
        if (m_isListening && event.type == KEY_DOWN && !m_volume.Press(event.keyname)) {
            Complain("the configuration refuses what a key has set");
        }
    }

    // Which of the two keys it was doesn't matter.
    void OnEvent(VConfData /*changed*/) override {
        if (!m_isListening) {
            return;
        }
        Quill::TCMessage message;
        message.subject = SERVICE_NAME; // of a notification: the end of the signal's name
        message.payload = m_volume.Now();
        SendNotification(message);
    }

    const std::shared_ptr<marrow::ser::Worker> m_worker =
        marrow::ser::WorkerFactory::Get().GetWorker(SERVICE_NAME);
    Volume m_volume;
    bool m_isListening = false; // events from before a stop may come after it
};

class VolumeService : public marrow::ser::Service {
public:
    explicit VolumeService(VolumeProxy& proxy) : Service(SERVICE_NAME), m_proxy(proxy) {}

protected:
    bool OnStart() override {
        if (std::getenv("DISPLAY") == nullptr) { // without an X server the proxy ends the daemon
            Complain("there is no DISPLAY, and so no keys");
            return false;
        }
        m_proxy.StartListening();
        return true;
    }

    bool OnStop() override {
        m_proxy.StopListening();
        return true;
    }

private:
    VolumeProxy& m_proxy;
};

VolumeProxy* const g_proxy = new VolumeProxy;

} // namespace

marrow::ser::IService* g_service = new VolumeService(*g_proxy);
marrow::ser::IServiceProxy* g_service_proxy = g_proxy;

// SPDX-License-Identifier: Apache-2.0

// A service that listens to everything there is and notifies without end, each time with the next
// number. A call is answered with its payload; {"tell":"all"} asks what it has heard so far.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

#include <hearthd/HostedLibrary.h>
#include <hearthd/KeyEventProxy.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <hearthd/TVSCaptionEventProxy.h>
#include <hearthd/TVSEventProxy.h>
#include <hearthd/TVSProgramEventProxy.h>
#include <hearthd/TVSSectionEventProxy.h>
#include <hearthd/VConfEventProxy.h>
#include <hearthd/WorkerFactory.h>

#include "SoakNames.h"

namespace {

using namespace marrow;
using Clock = std::chrono::steady_clock;

constexpr int KEY_DOWN = 0;
constexpr auto NOTIFICATION_INTERVAL = std::chrono::milliseconds(10);
constexpr unsigned short EIT_PID = 0x12;

// Everything but GetWorker and the notifier's thread runs on the service's worker.
class SoakProxy : public ser::ServiceProxy,
                  evt::KeyEventProxy::IListener,
                  evt::VConfEventProxy::IListener,
                  evt::TVSEventProxy::IListener,
                  evt::TVSSectionEventProxy::IListener,
                  evt::TVSProgramEventProxy::IListener,
                  evt::TVSCaptionEventProxy::IListener {
public:
    SoakProxy() : ServiceProxy(SOAK_SERVICE) {}

    bool StartListening() {
        if (std::getenv("DISPLAY") != nullptr) {
            evt::KeyEventProxy::Get().Subscribe(this, {SOAK_KEYS.begin(), SOAK_KEYS.end()});
        }
        for (const char* key : SOAK_SETTINGS) {
            evt::VConfEventProxy::GetInstance().Subscribe(key, this);
        }
        evt::TVSEventProxy::Get().Subscribe(SIGNAL_TIME, PROFILE_MAIN, 0, this);
        return evt::TVSSectionEventProxy::Get().Subscribe(TCSectionCriteriaHelper(EIT_PID), this,
                                                          m_sectionsId) &&
               evt::TVSProgramEventProxy::Get().Subscribe(this, TCProgramFilteringItem(),
                                                          m_programsId) &&
               evt::TVSCaptionEventProxy::Get().Subscribe(this);
    }

    void StartNotifying() {
        m_notifier = std::thread([this] {
            for (auto next = Clock::now();; next += NOTIFICATION_INTERVAL) {
                std::this_thread::sleep_until(next);
                Quill::TCMessage message;
                message.subject = SOAK_SERVICE;
                message.payload["number"] = ++m_notifications;
                SendNotification(message);
            }
        });
    }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        reply.payload = message.payload;
        if (message.payload.isMember("tell")) {
            Tell(reply.payload);
        } else if (message.payload["n"].isInt()) {
            Count(message.payload["client"].asInt(), message.payload["n"].asInt());
        }
        return reply;
    }

private:
    std::shared_ptr<ser::Worker> GetWorker() override { return m_worker; }

    // A client's numbers grow from call to call.
    void Count(int client, int number) {
        m_repeated += number <= m_lastCall[client] ? 1 : 0;
        m_lastCall[client] = number;
    }

    void Tell(Json::Value& all) {
        for (const auto& [key, count] : m_keys) {
            all["keys"][key] = count;
        }
        for (const auto& [key, value] : m_settings) {
            all["settings"][key] = value;
        }
        all["settings in disorder"] = m_disordered;
        all["repeated calls"] = m_repeated;
        all["signals"] = m_signals;
        all["sections"] = m_sections;
        all["programs"] = m_programs;
        all["captions"] = m_captions;
        all["notifications"] = m_notifications.load();
    }

    void OnEvent(evt::key_event_arg_t event) override {
        m_keys[event.keyname] += event.type == KEY_DOWN ? 1 : 0;
    }
    void OnEvent(evt::VConfData changed) override {
        int& last = m_settings[changed.GetName()];
        const int value = changed;
        m_disordered += value <= last ? 1 : 0;
        last = value;
    }
    void OnEvent(evt::tvs_event_args_t /*event*/) override { ++m_signals; }
    void OnEvent(evt::tvs_section_event_arg_t /*event*/) override { ++m_sections; }
    void OnEvent(evt::tvs_program_event_arg_t /*event*/) override { ++m_programs; }
    void OnEvent(TSCaption /*event*/) override { ++m_captions; }

    const std::shared_ptr<ser::Worker> m_worker = ser::WorkerFactory::Get().GetWorker(SOAK_SERVICE);
    std::map<std::string, int> m_keys;
    std::map<std::string, int> m_settings;
    std::map<int, int> m_lastCall;
    int m_disordered = 0;
    int m_repeated = 0;
    int m_signals = 0;
    int m_sections = 0;
    int m_programs = 0;
    int m_captions = 0;
    int m_sectionsId = -1;
    int m_programsId = -1;

    std::atomic<int> m_notifications{0};
    std::thread m_notifier; // for good, as the service
};

SoakProxy* const g_proxy = new SoakProxy;

class SoakService : public ser::Service {
public:
    SoakService() : Service(SOAK_SERVICE) {}

protected:
    bool OnStart() override {
        const bool isListening = g_proxy->StartListening();
        g_proxy->StartNotifying();
        return isListening;
    }
    bool OnStop() override { return false; } // it stays for good
};

} // namespace

marrow::ser::IService* g_service = new SoakService;
marrow::ser::IServiceProxy* g_service_proxy = g_proxy;

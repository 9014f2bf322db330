// SPDX-License-Identifier: Apache-2.0

// A service with an API and a notification. A call answers with the time; every second the service
// notifies under the subject "clock":
//
//     hearthctl call clock
//     hearthctl monitor clock

#include <condition_variable>
#include <ctime>
#include <mutex>
#include <thread>

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

namespace {

constexpr const char* SERVICE_NAME = "clock";

Quill::TCMessage Now() {
    Quill::TCMessage message;
    message.subject = SERVICE_NAME; // of a notification: the end of the signal's name
    message.payload["seconds"] = static_cast<Json::Int64>(std::time(nullptr));
    return message;
}

class ClockProxy : public marrow::ser::ServiceProxy {
public:
    ClockProxy() : ServiceProxy(SERVICE_NAME) {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& /*message*/) override { return Now(); }
};

class ClockService : public marrow::ser::Service {
public:
    explicit ClockService(ClockProxy& proxy) : Service(SERVICE_NAME), m_proxy(proxy) {}
    // An unloaded service may not have been able to stop: leave no thread behind in any case.
    ~ClockService() override { EndTicking(); }

protected:
    bool OnStart() override {
        m_ticking = true;
        m_thread = std::thread([this] { Tick(); });
        return true;
    }

    bool OnStop() override {
        EndTicking();
        return true;
    }

private:
    // SendNotification may be called on any thread: it goes out on the proxy's worker.
    void Tick() {
        std::unique_lock lock(m_mutex);
        while (!m_wake.wait_for(lock, std::chrono::seconds(1), [this] { return !m_ticking; })) {
            m_proxy.SendNotification(Now());
        }
    }

    void EndTicking() {
        {
            const std::scoped_lock lock(m_mutex);
            m_ticking = false;
        }
        m_wake.notify_one();
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    ClockProxy& m_proxy;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_ticking = false;
    std::thread m_thread;
};

ClockProxy* const g_proxy = new ClockProxy;

} // namespace

marrow::ser::IService* g_service = new ClockService(*g_proxy);
marrow::ser::IServiceProxy* g_service_proxy = g_proxy;

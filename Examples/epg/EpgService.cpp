// SPDX-License-Identifier: Apache-2.0

// The programme guide: which event each service of the stream shows, and which one follows. Where a
// present event changes, the service notifies under the subject "epg":
//
//     hearthctl start epg
//     hearthctl call epg '{"get": "now"}'
//     hearthctl call epg '{"get": "list", "service": "Hearth One"}'
//     hearthctl monitor epg

#include <hearthd/Dlog.h>
#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <hearthd/TVSProgramEventProxy.h>
#include <hearthd/WorkerFactory.h>

#include "Guide.h"

namespace {

using marrow::evt::tvs_program_event_arg_t;
using marrow::evt::TVSProgramEventProxy;

constexpr const char* SERVICE_NAME = "epg";
constexpr unsigned long long EVERY_SERVICE = 0;
constexpr int NO_ID = -1;

// Everything but GetWorker runs on the service's worker: there is nothing to lock.
class EpgProxy : public marrow::ser::ServiceProxy, private TVSProgramEventProxy::IListener {
public:
    EpgProxy() : ServiceProxy(SERVICE_NAME) {}
    // Events that were queued before OnStop may be queued still, for this listener. A call passes
    // behind them, and it waits for that.
    ~EpgProxy() override { ServiceProxy::CallAPI({}); }

    // What is known already comes again at each start.
    bool StartListening() {
        m_guide.Clear();
        TVSProgramEventProxy& programs = TVSProgramEventProxy::Get();
        const bool isListening =
            programs.Subscribe(this, TCProgramFilteringItem(), m_changesId) &&
            programs.SubscribeListPF(this, EVERY_SERVICE, SUBSCRIBE_ONCE, 0, m_listId);
        if (!isListening) {
            StopListening();
        }
        return isListening;
    }

    void StopListening() {
        Unsubscribe(m_changesId);
        Unsubscribe(m_listId);
    }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override {
        Quill::TCMessage reply;
        reply.payload = m_guide.Answer(message.payload);
        return reply;
    }

private:
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return m_worker; }

    void OnEvent(tvs_program_event_arg_t event) override {
        if (event.subscriber_id != m_changesId && event.subscriber_id != m_listId) {
            return; // queued before OnStop
        }
        if (m_guide.Take(event.change_type, *event.program)) {
            Quill::TCMessage message;
            message.subject = SERVICE_NAME; // of a notification: the end of the signal's name
            message.payload = m_guide.Now(*event.program);
            SendNotification(message);
        }
        if (event.change_type == PROGRAM_LIST_END) {
            Unsubscribe(m_listId);
        }
    }

    static void Unsubscribe(int& id) {
        TVSProgramEventProxy::Get().Unsubscribe(id);
        id = NO_ID;
    }

    const std::shared_ptr<marrow::ser::Worker> m_worker =
        marrow::ser::WorkerFactory::Get().GetWorker(SERVICE_NAME);
    int m_changesId = NO_ID;
    int m_listId = NO_ID;
    Guide m_guide;
};

class EpgService : public marrow::ser::Service {
public:
    explicit EpgService(EpgProxy& proxy) : Service(SERVICE_NAME), m_proxy(proxy) {}

protected:
    bool OnStart() override {
        if (m_proxy.StartListening()) {
            return true;
        }
        __dlog_print(DLOG_ERROR, "EPG", "the television has no programs to tell of\n");
        return false;
    }

    bool OnStop() override {
        m_proxy.StopListening();
        return true;
    }

private:
    EpgProxy& m_proxy;
};

EpgProxy* const g_proxy = new EpgProxy;

} // namespace

marrow::ser::IService* g_service = new EpgService(*g_proxy);
marrow::ser::IServiceProxy* g_service_proxy = g_proxy;

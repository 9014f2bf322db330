// SPDX-License-Identifier: Apache-2.0

// The captions (CEA-608, channel 1 in field 1) of the program that the main screen shows, as lines
// of text. Each caption that is complete on the screen is a notification under the subject
// "captions", and a call answers with the latest one:
//
//     hearthctl start captions
//     hearthctl monitor captions
//     hearthctl call captions

#include <hearthd/Dlog.h>
#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <hearthd/TVSCaptionEventProxy.h>
#include <hearthd/WorkerFactory.h>

#include "Cea608Decoder.h"

namespace {

using marrow::evt::TVSCaptionEventProxy;

constexpr const char* SERVICE_NAME = "captions";

// Everything but GetWorker runs on the service's worker: there is nothing to lock.
class CaptionsProxy : public marrow::ser::ServiceProxy, private TVSCaptionEventProxy::IListener {
public:
    CaptionsProxy() : ServiceProxy(SERVICE_NAME) {}
    // Captions that were queued before OnStop may be queued still, for this listener. A call passes
    // behind them, and it waits for that.
    ~CaptionsProxy() override { ServiceProxy::CallAPI({}); }

    bool StartListening() {
        m_decoder = MakeDecoder();
        m_latest = Json::arrayValue;
        m_isListening = TVSCaptionEventProxy::Get().Subscribe(this);
        return m_isListening;
    }

    void StopListening() {
        if (m_isListening) { // else it would be somebody else's delivery that stops
            TVSCaptionEventProxy::Get().Unsubscribe(this);
            m_isListening = false;
        }
    }

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& /*message*/) override { return Latest(); }

private:
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return m_worker; }

    void OnEvent(TSCaption caption) override {
        if (m_isListening && caption.word_a == CAPTION_CC_DATA) {
            m_decoder.PushCcData(caption.bytes);
        }
    }

    Cea608Decoder MakeDecoder() {
        return Cea608Decoder([this](const Cea608Decoder::Lines& lines) {
            m_latest.clear();
            for (const std::string& line : lines) {
                m_latest.append(line);
            }
            SendNotification(Latest());
        });
    }

    Quill::TCMessage Latest() const {
        Quill::TCMessage message;
        message.subject = SERVICE_NAME; // of a notification: the end of the signal's name
        message.payload["text"] = m_latest;
        return message;
    }

    const std::shared_ptr<marrow::ser::Worker> m_worker =
        marrow::ser::WorkerFactory::Get().GetWorker(SERVICE_NAME);
    bool m_isListening = false;
    Cea608Decoder m_decoder = MakeDecoder();
    Json::Value m_latest = Json::arrayValue;
};

class CaptionsService : public marrow::ser::Service {
public:
    explicit CaptionsService(CaptionsProxy& proxy) : Service(SERVICE_NAME), m_proxy(proxy) {}

protected:
    bool OnStart() override {
        if (m_proxy.StartListening()) {
            return true;
        }
        __dlog_print(DLOG_ERROR, "CAPTIONS", "somebody else has the captions\n");
        return false;
    }

    bool OnStop() override {
        m_proxy.StopListening();
        return true;
    }

private:
    CaptionsProxy& m_proxy;
};

CaptionsProxy* const g_proxy = new CaptionsProxy;

} // namespace

marrow::ser::IService* g_service = new CaptionsService(*g_proxy);
marrow::ser::IServiceProxy* g_service_proxy = g_proxy;

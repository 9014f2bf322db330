#pragma once

#include <hearthd/TVSEventProxy.h>

#include "Listener.h"

/// A signal of the main screen's stream, that it was found or lost: {"signal": 1, "value": 1}. The
/// numbers are those of ESignalType and TSSignalData.
class SignalsListener final : public Listener<marrow::evt::TVSEventProxy> {
public:
    using Listener::Listener;

    bool Start() {
        m_isListening = true;
        for (const ESignalType signal : SIGNALS) {
            marrow::evt::TVSEventProxy::Get().Subscribe(signal, PROFILE_MAIN, 0, this);
        }
        return true;
    }

    void Stop() {
        if (!m_isListening) {
            return;
        }
        m_isListening = false;
        for (const ESignalType signal : SIGNALS) {
            marrow::evt::TVSEventProxy::Get().Unsubscribe(signal, PROFILE_MAIN, 0, this);
        }
    }

private:
    static constexpr ESignalType SIGNALS[] = {SIGNAL_STREAM_FOUND, SIGNAL_STREAM_LOST};

    void OnEvent(marrow::evt::tvs_event_args_t signal) override {
        if (m_isListening) { // else it was queued before Stop
            Json::Value event;
            event["signal"] = static_cast<int>(signal.event.signal);
            event["value"] = signal.data.value;
            m_sink(event);
        }
    }

    bool m_isListening = false;
};

#pragma once

#include <hearthd/TVSCaptionEventProxy.h>

#include "Listener.h"

/// Caption data of the program that the main screen shows: {"format": 1, "size": 6}, with an
/// ECaptionFormat. One service at a time can have it.
class CaptionsListener final : public Listener<marrow::evt::TVSCaptionEventProxy> {
public:
    using Listener::Listener;

    bool Start() {
        m_isListening = marrow::evt::TVSCaptionEventProxy::Get().Subscribe(this);
        return m_isListening;
    }

    void Stop() {
        if (m_isListening) { // else it would be somebody else's delivery that stops
            marrow::evt::TVSCaptionEventProxy::Get().Unsubscribe(this);
            m_isListening = false;
        }
    }

private:
    void OnEvent(TSCaption caption) override {
        if (m_isListening) { // else it was queued before Stop
            Json::Value event;
            event["format"] = caption.word_a;
            event["size"] = static_cast<Json::UInt64>(caption.bytes.size());
            m_sink(event);
        }
    }

    bool m_isListening = false;
};

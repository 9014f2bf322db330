#pragma once

#include <hearthd/TVSPESEventProxy.h>

#include "Listener.h"

/// A PES packet of the PIDs that the television's settings name: {"pid": 257, "size": 1024}. The
/// bytes, `packet.data`, are shared with other listeners and only to be read.
class PesListener final : public Listener<marrow::evt::TVSPESEventProxy> {
public:
    using Listener::Listener;

    bool Start() {
        m_isListening = true;
        marrow::evt::TVSPESEventProxy::Get().Subscribe(this);
        return true;
    }

    void Stop() {
        if (m_isListening) { // else it would be somebody else's delivery that stops
            marrow::evt::TVSPESEventProxy::Get().Unsubscribe(this);
            m_isListening = false;
        }
    }

private:
    void OnEvent(marrow::evt::tvs_pes_event_arg_t packet) override {
        if (m_isListening) { // else it was queued before Stop
            Json::Value event;
            event["pid"] = packet.short_b;
            event["size"] = packet.size;
            m_sink(event);
        }
    }

    bool m_isListening = false;
};

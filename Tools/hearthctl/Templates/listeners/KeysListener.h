#pragma once

#include <cstdlib>

#include <hearthd/KeyEventProxy.h>

#include "Listener.h"

/// A key of the remote control that goes down: {"key": "XF86AudioPlay"}. While the service has it,
/// the key comes to nobody else.
class KeysListener final : public Listener<marrow::evt::KeyEventProxy> {
public:
    using Listener::Listener;

    bool Start() {
        // Without an X server the proxy ends the daemon.
        m_isListening = std::getenv("DISPLAY") != nullptr;
        if (m_isListening) {
            marrow::evt::KeyEventProxy::Get().Subscribe(this, {"XF86AudioPlay"});
        }
        return m_isListening;
    }

    void Stop() {
        if (m_isListening) {
            marrow::evt::KeyEventProxy::Get().Unsubscribe(this);
            m_isListening = false;
        }
    }

private:
    static constexpr int DOWN = 0;

    void OnEvent(marrow::evt::key_event_arg_t key) override {
        if (m_isListening && key.type == DOWN) { // else it was queued before Stop, or goes up
            Json::Value event;
            event["key"] = key.keyname;
            m_sink(event);
        }
    }

    bool m_isListening = false;
};

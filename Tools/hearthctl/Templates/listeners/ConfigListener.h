#pragma once

#include <string>

#include <hearthd/VConfEventProxy.h>

#include "Listener.h"

/// A key of the configuration that changes: {"key": "db/sample/name", "value": "Ann"}.
class ConfigListener final : public Listener<marrow::evt::VConfEventProxy> {
public:
    using Listener::Listener;

    // What the key holds already isn't told: VConfEventProxy::GetValue reads it.
    bool Start() {
        m_isListening = true;
        marrow::evt::VConfEventProxy::GetInstance().Subscribe(KEY, this);
        return true;
    }

    void Stop() {
        if (m_isListening) {
            marrow::evt::VConfEventProxy::GetInstance().Unsubscribe(KEY, this);
            m_isListening = false;
        }
    }

private:
    static constexpr const char* KEY = "db/sample/name";

    void OnEvent(marrow::evt::VConfData changed) override {
        if (m_isListening) { // else it was queued before Stop
            Json::Value event;
            event["key"] = changed.GetName();
            event["value"] = static_cast<std::string>(changed); // "" where it isn't a string
            m_sink(event);
        }
    }

    bool m_isListening = false;
};

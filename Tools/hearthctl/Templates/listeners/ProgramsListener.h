#pragma once

#include <hearthd/TVSProgramEventProxy.h>

#include "Listener.h"

/// A change of a program, or of its present or following event:
/// {"change": 4, "program": "Hearth One", "event": "News"}. The number is an EProgramChangeType.
class ProgramsListener final : public Listener<marrow::evt::TVSProgramEventProxy> {
public:
    using Listener::Listener;

    // It begins with the programs that are known.
    bool Start() {
        const TCProgramFilteringItem everything;
        return marrow::evt::TVSProgramEventProxy::Get().Subscribe(this, everything, m_id);
    }

    void Stop() {
        marrow::evt::TVSProgramEventProxy::Get().Unsubscribe(m_id);
        m_id = NO_ID;
    }

private:
    static constexpr int NO_ID = -1;

    void OnEvent(marrow::evt::tvs_program_event_arg_t change) override {
        if (change.subscriber_id == m_id) { // else it was queued before Stop
            Json::Value event;
            event["change"] = static_cast<int>(change.change_type);
            event["program"] = change.program->service_name;
            event["event"] = change.program->event.name;
            m_sink(event);
        }
    }

    int m_id = NO_ID;
};

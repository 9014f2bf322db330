#pragma once

#include <hearthd/TVSSectionEventProxy.h>

#include "Listener.h"

/// A section of a table in the stream, here each new one of the program association table:
/// {"table": 0, "size": 16}.
class SectionsListener final : public Listener<marrow::evt::TVSSectionEventProxy> {
public:
    using Listener::Listener;

    bool Start() {
        TCSectionCriteriaHelper filter(PAT_PID);
        filter.SetOnChangeOnly(true);
        return marrow::evt::TVSSectionEventProxy::Get().Subscribe(filter, this, m_id);
    }

    void Stop() {
        const int id = m_id;
        m_id = NO_ID;
        // Refused while a section of this filter is being delivered.
        for (int tries = 0; id != NO_ID && tries < MOST_TRIES; ++tries) {
            if (marrow::evt::TVSSectionEventProxy::Get().Unsubscribe(id)) {
                return;
            }
        }
    }

private:
    static constexpr unsigned short PAT_PID = 0;
    static constexpr int NO_ID = -1;
    static constexpr int MOST_TRIES = 100;

    void OnEvent(marrow::evt::tvs_section_event_arg_t section) override {
        // Else it was queued before Stop, or has no bytes.
        if (section.subscriber_id == m_id && section.data != nullptr) {
            Json::Value event;
            event["table"] = *section.data;
            event["size"] = section.size;
            m_sink(event);
        }
    }

    int m_id = NO_ID;
};

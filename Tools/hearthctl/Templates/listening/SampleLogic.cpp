#include "SampleLogic.h"

void SampleLogic::Take(const std::string& source, const Json::Value& event) {
    Json::Value& events = m_events[source];
    events["count"] = events["count"].asUInt64() + 1;
    events["last"] = event;
}

Json::Value SampleLogic::Answer(const Json::Value& request) const {
    Json::Value reply;
    if (request["get"] == "events") {
        reply["events"] = m_events;
    } else {
        reply["error"] = R"(ask with {"get": "events"})";
    }
    return reply;
}

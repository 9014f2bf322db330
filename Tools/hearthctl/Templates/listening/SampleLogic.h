#pragma once

#include <string>

#include <json/value.h>

/// What the service answers, and keeps of the events that it hears. It knows nothing of the daemon,
/// so that a test can feed and ask it. One thread.
class SampleLogic {
public:
    /// An event of one of the service's sources.
    void Take(const std::string& source, const Json::Value& event);

    /// {"get": "events"} is answered with the events of each source, how many and the last one:
    /// {"events": {"keys": {"count": 2, "last": {"key": "Up"}}}}, everything else with
    /// {"error": "..."}. `request` is an object or null.
    Json::Value Answer(const Json::Value& request) const;

private:
    Json::Value m_events = Json::objectValue;
};

#pragma once

#include <json/value.h>

/// What the service answers. It knows nothing of the daemon, so that a test can ask it.
class SampleLogic {
public:
    /// {"name": "Ann"} is answered with {"greeting": "Hello, Ann"}, everything else with
    /// {"error": "..."}. `request` is an object or null.
    Json::Value Answer(const Json::Value& request) const;
};

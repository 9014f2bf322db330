#include "SampleLogic.h"

Json::Value SampleLogic::Answer(const Json::Value& request) const {
    Json::Value reply;
    const Json::Value& name = request["name"];
    if (name.isString()) { // asString() throws for an object, and that would end the daemon
        reply["greeting"] = "Hello, " + name.asString();
    } else {
        reply["error"] = "\"name\" is missing or no string";
    }
    return reply;
}

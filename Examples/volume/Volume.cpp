// SPDX-License-Identifier: Apache-2.0
#include "Volume.h"

#include <algorithm>

#include <hearthd/VConfEventProxy.h>

namespace {

using marrow::evt::VConfEventProxy;

constexpr int LOUDEST = 100;
constexpr int AT_FIRST = 20; // where nobody has set it yet

} // namespace

bool Volume::Press(const std::string& key) {
    if (key == "XF86AudioRaiseVolume") {
        return SetLevel(std::min(Level() + 1, LOUDEST)) && (!IsMuted() || SetMuted(false));
    }
    if (key == "XF86AudioLowerVolume") {
        return SetLevel(std::max(Level() - 1, 0));
    }
    return key != "XF86AudioMute" || SetMuted(!IsMuted());
}

Json::Value Volume::Now() const {
    Json::Value now;
    now["level"] = Level();
    now["muted"] = IsMuted();
    return now;
}

Json::Value Volume::Answer(const Json::Value& request) {
    if (request.isObject() && request.size() == 1) {
        if (request["get"] == "now") {
            return Now();
        }
        if (const auto changed = Change(request)) {
            if (*changed) {
                return Now();
            }
            Json::Value refused;
            refused["error"] = "the configuration refuses; the log tells why";
            return refused;
        }
    }
    Json::Value answer;
    answer["error"] = R"(the request is none of {"get": "now"}, {"set": 0 to 100}, {"mute": true})";
    return answer;
}

std::optional<bool> Volume::Change(const Json::Value& request) {
    const Json::Value& level = request["set"];
    if (level.isInt() && level.asInt() >= 0 && level.asInt() <= LOUDEST) {
        return SetLevel(level.asInt());
    }
    if (request["mute"].isBool()) {
        return SetMuted(request["mute"].asBool());
    }
    return std::nullopt;
}

// Others may write what they like.
int Volume::Level() const {
    int level = AT_FIRST;
    VConfEventProxy::GetInstance().GetValue(LEVEL_KEY, level);
    return std::clamp(level, 0, LOUDEST);
}

bool Volume::IsMuted() const {
    bool isMuted = false;
    VConfEventProxy::GetInstance().GetValue(MUTE_KEY, isMuted);
    return isMuted;
}

bool Volume::SetLevel(int level) {
    return VConfEventProxy::GetInstance().SetValue(LEVEL_KEY, level);
}

bool Volume::SetMuted(bool isMuted) {
    return VConfEventProxy::GetInstance().SetValue(MUTE_KEY, isMuted);
}

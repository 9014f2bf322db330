// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include <json/value.h>

/// How loud the television is, and whether it is muted: two keys of the configuration, so that it
/// is as loud as before after a restart, and whoever changes a key changes the volume. Nothing is
/// kept here. One thread.
class Volume {
public:
    static constexpr const char* LEVEL_KEY = "db/audio/volume"; ///< an integer from 0 to 100
    static constexpr const char* MUTE_KEY = "db/audio/mute";    ///< a boolean

    /// What a key of the remote control does to it; other keys do nothing. False where the
    /// configuration refuses.
    bool Press(const std::string& key);

    /// {"level": 20, "muted": false}
    Json::Value Now() const;

    /// The answer to any request at all:
    ///
    /// - {"get": "now"}: what Now tells;
    /// - {"set": 35} or {"mute": true}: the same, with what has been set;
    /// - anything else, or where the configuration refuses: {"error": "..."}.
    Json::Value Answer(const Json::Value& request);

private:
    int Level() const;
    bool IsMuted() const;
    bool SetLevel(int level);
    bool SetMuted(bool isMuted);
    // Nothing where the request is no such one.
    std::optional<bool> Change(const Json::Value& request);
};

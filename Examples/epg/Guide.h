// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include <hearthd/IProgramSubscriber.h>
#include <hearthd/TCProgramData.h>
#include <json/value.h>

/// The present and the following event of every program, as a TVSProgramEventProxy tells them, and
/// what a client may ask about them. One thread.
///
/// It wants one subscription with all changes, and behind that one a list of present and following
/// events: who subscribes to changes alone isn't told the following events that are known already.
class Guide {
public:
    /// Takes a change of the one subscription, or an entry of the other. True where a program has
    /// got another present event, or other words about it.
    bool Take(EProgramChangeType type, const TCProgramData& program);
    void Clear() { m_entries.clear(); }

    /// The answer to any request at all:
    ///
    /// - {"get": "now"}: {"services": [...]}, each as Now tells it;
    /// - {"get": "list"}: the same with the member "following";
    /// - with the member "service" only services of that name: without one, that is an error;
    /// - anything else: {"error": "..."}.
    Json::Value Answer(const Json::Value& request) const;

    /// A program with its present event: {"service": "...", "service_id": 101, "present": {"name":
    /// "...", "text": "...", "start": "2024-05-01T20:00:00Z", "duration": 1800, "language":
    /// "eng"}}. An event that isn't known is null, and so is a start that isn't defined; the
    /// duration is in seconds.
    Json::Value Now(const TCProgramData& program) const;

private:
    struct Entry {
        TCProgramData program;
        TSProgramEvent present;
        TSProgramEvent following;
    };
    // transport_stream_id and service_id: the network's id comes later than the rest.
    using Key = std::pair<std::uint16_t, std::uint16_t>;

    static Key KeyOf(const TCProgramData& program);
    static Json::Value ToJson(const Entry& entry, bool withFollowing);

    std::map<Key, Entry> m_entries;
};

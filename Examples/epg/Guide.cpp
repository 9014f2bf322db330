// SPDX-License-Identifier: Apache-2.0
#include "Guide.h"

#include <array>
#include <ctime>
#include <string>
#include <utility>

namespace {

constexpr const char* GET = "get";
constexpr const char* SERVICE = "service";

Json::Value Error(const std::string& words) {
    Json::Value answer;
    answer["error"] = words;
    return answer;
}

// ISO 8601; null where there is no such time.
Json::Value Utc(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    std::array<char, 32> text{};
    if (seconds < 0 || !std::in_range<std::time_t>(seconds) || gmtime_r(&time, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) {
        return {};
    }
    return text.data();
}

Json::Value ToJson(const TSProgramEvent& event) {
    if (!event.known) {
        return {};
    }
    Json::Value value;
    value["name"] = event.name;
    value["text"] = event.text;
    value["language"] = event.language;
    value["start"] = Utc(event.start);
    value["duration"] = event.duration;
    return value;
}

// Clients send what they like. The first thing that is wrong with a request; empty where it is
// good.
std::string FaultOf(const Json::Value& request) {
    if (!request.isObject()) {
        return "the request is no object";
    }
    for (const std::string& name : request.getMemberNames()) {
        if (name != GET && name != SERVICE) {
            return "\"" + name + "\" is neither \"get\" nor \"service\"";
        }
    }
    if (request[GET] != "now" && request[GET] != "list") {
        return "\"get\" is missing, or neither \"now\" nor \"list\"";
    }
    if (request.isMember(SERVICE) && !request[SERVICE].isString()) {
        return "\"service\" is no string";
    }
    return {};
}

} // namespace

Guide::Key Guide::KeyOf(const TCProgramData& program) {
    return {program.transport_stream_id, program.service_id};
}

bool Guide::Take(EProgramChangeType type, const TCProgramData& program) {
    const Key key = KeyOf(program);
    if (type == PROGRAM_GONE) {
        m_entries.erase(key);
        return false;
    }
    if (type == PROGRAM_LIST_END || type == PROGRAM_SCHEDULE_CHANGED) {
        return false;
    }
    Entry& entry = m_entries[key];
    entry.program = program;
    switch (type) {
    case PROGRAM_APPEARED:
        entry.present = program.event;
        break;
    case PROGRAM_PRESENT_CHANGED:
        return std::exchange(entry.present, program.event) != program.event;
    case PROGRAM_FOLLOWING_CHANGED:
        entry.following = program.event;
        break;
    case PROGRAM_LISTED:
        // The other subscription has told the present one already, where there is one.
        if (program.event != entry.present) {
            entry.following = program.event;
        }
        break;
    default:
        break;
    }
    return false;
}

Json::Value Guide::Answer(const Json::Value& request) const {
    if (const std::string fault = FaultOf(request); !fault.empty()) {
        return Error(fault);
    }
    Json::Value services = Json::arrayValue;
    for (const auto& [key, entry] : m_entries) {
        if (!request.isMember(SERVICE) || request[SERVICE] == entry.program.service_name) {
            services.append(ToJson(entry, request[GET] == "list"));
        }
    }
    if (services.empty() && request.isMember(SERVICE)) {
        return Error("there is no service \"" + request[SERVICE].asString() + "\"");
    }
    Json::Value answer;
    answer["services"] = services;
    return answer;
}

Json::Value Guide::Now(const TCProgramData& program) const {
    const auto found = m_entries.find(KeyOf(program));
    return found == m_entries.end() ? Json::Value() : ToJson(found->second, false);
}

Json::Value Guide::ToJson(const Entry& entry, bool withFollowing) {
    Json::Value value;
    value["service"] = entry.program.service_name;
    value["service_id"] = entry.program.service_id;
    value["present"] = ::ToJson(entry.present);
    if (withFollowing) {
        value["following"] = ::ToJson(entry.following);
    }
    return value;
}

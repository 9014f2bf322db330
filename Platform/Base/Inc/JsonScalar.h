// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <json/value.h>

#include "JsonText.h"

namespace marrow::base {

// What a writer of JSON does with a value, whatever the layout.

/// Whether comments stand at the value itself: JsonCpp would write them as well.
inline bool HasComment(const Json::Value& value) {
    return value.hasComment(Json::commentBefore) || value.hasComment(Json::commentAfter) ||
           value.hasComment(Json::commentAfterOnSameLine);
}

/// Adds a value that is neither an array nor an object. False for these, and where AddString is.
template <JsonText::Escape ESCAPE>
bool AddScalar(JsonText& text, const Json::Value& value) {
    switch (value.type()) {
    case Json::nullValue:
        text.Add("null");
        return true;
    case Json::intValue:
        text.AddInteger(value.asInt64());
        return true;
    case Json::uintValue:
        text.AddInteger(value.asUInt64());
        return true;
    case Json::realValue:
        text.AddReal(value.asDouble());
        return true;
    case Json::stringValue: {
        const char* begin = nullptr;
        const char* end = nullptr;
        return value.getString(&begin, &end) &&
               text.AddString<ESCAPE>({begin, static_cast<std::size_t>(end - begin)});
    }
    case Json::booleanValue:
        text.Add(value.asBool() ? "true" : "false");
        return true;
    default:
        return false;
    }
}

/// Adds the name of the member that an iterator of an object stands at. False where AddString is.
template <JsonText::Escape ESCAPE>
bool AddMemberName(JsonText& text, const Json::Value::const_iterator& member) {
    const char* end = nullptr;
    const char* const begin = member.memberName(&end);
    return text.AddString<ESCAPE>({begin, static_cast<std::size_t>(end - begin)});
}

} // namespace marrow::base

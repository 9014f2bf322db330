// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <json/json.h>

namespace marrow::msg {

/// What Json::Value::toStyledString yields, at a small part of its cost: every call's payload is
/// rendered for the log. Any thread.
std::string StyledText(const Json::Value& value);

} // namespace marrow::msg

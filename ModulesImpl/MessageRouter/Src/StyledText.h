// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <limits>
#include <string>

#include <json/json.h>

namespace marrow::msg {

/// What Json::Value::toStyledString yields, at a small part of its cost: every call's payload is
/// rendered for the log. Where only the first `enough` bytes are of use, it ends somewhere behind
/// them. Any thread.
std::string StyledText(const Json::Value& value,
                       std::size_t enough = std::numeric_limits<std::size_t>::max());

} // namespace marrow::msg

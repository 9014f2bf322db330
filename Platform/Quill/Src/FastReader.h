// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include <json/json.h>

#include "JsonCodec.h"

namespace Quill {

/// Does what JsonCodec::Decode does with a text that its strict reader takes, at a third of the
/// cost. False where it can't be sure of that: the text is wrong, or uses what parsers disagree
/// about. Then `value` is as it was, and that reader decides.
///
/// Any thread; each keeps some memory for its next text.
bool ReadFast(std::string_view text, JsonCodec::Root root, Json::Value& value);

} // namespace Quill

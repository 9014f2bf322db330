// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "StoredKey.h"

namespace vconf {

// Values as people write and read them.

/// "string", "int", "double" or "bool"; "none" for a key that is removed.
const char* TypeName(VConfType type);
std::optional<VConfType> TypeOfName(const std::string& name);

/// The text of a value, which TextToValue takes for the same one again: a boolean is "true" at 1,
/// "false" at 0 and the number otherwise.
std::string ValueToText(const StoredValue& value);

/// Throws KeyError where the text is no value of this type.
StoredValue TextToValue(const std::string& text, VConfType type);

/// The first type that the text is a value of: an integer, a double, a boolean ("true" or "false"),
/// or else a string.
VConfType LikelyType(const std::string& text);

/// On one line, and with nothing in it that a terminal obeys: as a string of JSON where the value
/// is a string.
std::string ValueToLine(const StoredValue& value);

} // namespace vconf

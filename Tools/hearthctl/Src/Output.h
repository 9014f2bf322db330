// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <json/value.h>

#include "Printable.h"

namespace hearthctl {

/// Whether the descriptor is a terminal: a person reads along there.
bool IsTerminal(int descriptor);

/// One line.
std::string CompactJson(const Json::Value& value);
/// Several lines, for a person. No newline at the end.
std::string IndentedJson(const Json::Value& value);

/// The time of day here, with milliseconds and the offset from UTC (ISO 8601).
std::string TimeOfDay();

using marrow::base::Printable;

/// The lines of a text, without their newlines.
std::vector<std::string> Lines(std::string_view text);

/// A name, and a state or nothing.
using Row = std::pair<std::string, std::string>;

/// Prints two aligned columns under a heading.
void PrintTable(const Row& heading, const std::vector<Row>& rows);

} // namespace hearthctl

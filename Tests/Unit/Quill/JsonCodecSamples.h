// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <random>
#include <string>
#include <vector>

#include <json/json.h>

// Texts and values on which two JSON libraries might disagree.
namespace json_samples {

/// Every form of number and escape, limits and one beyond them, bytes that don't belong.
std::vector<std::string> OddTexts();

/// A few levels deep; mostly valid JSON.
std::string RandomText(std::mt19937& random, int depth);
/// The same text with a few bytes changed, lost or added.
std::string Mutated(std::mt19937& random, std::string text);

/// Of any size and precision; NaN and infinite ones too.
double RandomReal(std::mt19937& random);
/// Of any type, with strings of any bytes, and arrays with holes.
Json::Value RandomValue(std::mt19937& random, int depth);

} // namespace json_samples

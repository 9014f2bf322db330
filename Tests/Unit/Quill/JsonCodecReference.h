// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "JsonCodec.h"

// What JsonCodec does as the JSON library alone would do it: its results are what ours have to be.
namespace json_reference {

struct Outcome {
    bool isTaken = false;
    Json::Value value; ///< where it is taken
    std::string error; ///< where it isn't
};

Outcome Decode(std::string_view text, Quill::JsonCodec::Root root);
/// The same of JsonCodec itself, with a look at what a refused text leaves behind.
Outcome DecodeOurs(std::string_view text, Quill::JsonCodec::Root root);

std::string Encode(const Json::Value& value);

/// Where two values aren't the same, types and the bits of reals included, as a path; empty where
/// they are.
std::string Difference(const Json::Value& one, const Json::Value& other);

/// Where a text's decoding differs from the reference, or what comes of the value on its way back;
/// empty where all is the same.
std::string DecodingDifference(std::string_view text, Quill::JsonCodec::Root root);
/// The same for the encoding of a value.
std::string EncodingDifference(const Json::Value& value);

} // namespace json_reference

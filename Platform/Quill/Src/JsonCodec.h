// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <json/json.h>

// The `payload` string of the wire to a JSON value and back. Any thread. An empty text and a null
// value stand for each other.
namespace Quill::JsonCodec {

/// A value may stand inside this many arrays and objects. It bounds the stack that a peer's message
/// can use here and, with the log's indented rendering, the text that it can make us write.
inline constexpr int DEEPEST_NESTING = 128;

/// About how many values a text may hold: it has no more of ",", "[" and "{" outside of strings. It
/// bounds the memory, which is some 80 bytes for each, where two of text are enough for one.
inline constexpr std::size_t MOST_VALUES = 1000000;

enum class Root {
    OBJECT, ///< what a call or a signal carries
    ANY,    ///< what a reply carries
};

/// Reads strict JSON (RFC 8259; a key that occurs twice in one object is refused). On failure
/// `value` is as it was and `error` says in one line what is wrong. Throws nothing on bad input.
bool Decode(std::string_view text, Root root, Json::Value& value, std::string& error);

/// Writes compact JSON that the bus takes as a string.
std::string Encode(const Json::Value& value);

} // namespace Quill::JsonCodec

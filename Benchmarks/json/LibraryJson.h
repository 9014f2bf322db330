// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <json/json.h>

// The JSON library by itself, as whoever has nothing else would use it: its strict reader and its
// writer without indentation. Any thread; each keeps a reader and a writer of its own.

/// False, and `error` says why, where `text` is no JSON.
bool DecodeByLibrary(const std::string& text, Json::Value& value, std::string& error);

std::string EncodeByLibrary(const Json::Value& value);

std::string WriteByLibrary(Json::StreamWriter& writer, const Json::Value& value);

// SPDX-License-Identifier: Apache-2.0
#include "LibraryJson.h"

#include <memory>
#include <sstream>

bool DecodeByLibrary(const std::string& text, Json::Value& value, std::string& error) {
    static thread_local const std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    return reader->parse(text.data(), text.data() + text.size(), &value, &error);
}

std::string WriteByLibrary(Json::StreamWriter& writer, const Json::Value& value) {
    static thread_local std::ostringstream stream;
    stream.str({});
    writer.write(value, &stream);
    return std::move(stream).str();
}

std::string EncodeByLibrary(const Json::Value& value) {
    static thread_local const std::unique_ptr<Json::StreamWriter> writer = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
    }();
    return WriteByLibrary(*writer, value);
}

// SPDX-License-Identifier: Apache-2.0
#include "JsonCodec.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include "WireText.h"

namespace Quill::JsonCodec {

namespace {

// Readers and writers are slow to make and keep nothing between two texts, so that each thread
// has its own.
Json::CharReader& Reader() {
    static thread_local const std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        builder["strictRoot"] = false; // the root's type is checked in Decode
        // The reader counts the values that it is inside of, the innermost one too.
        builder["stackLimit"] = DEEPEST_NESTING + 1;
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    return *reader;
}

Json::StreamWriter& Writer() {
    static thread_local const std::unique_ptr<Json::StreamWriter> writer = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true; // the default loses what stands next to invalid bytes
        return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
    }();
    return *writer;
}

std::string OneLine(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

} // namespace

bool Decode(std::string_view text, Root root, Json::Value& value, std::string& error) {
    if (text.empty()) {
        value = Json::Value();
        return true;
    }
    Json::Value decoded;
    std::string problem;
    try {
        if (!Reader().parse(text.data(), text.data() + text.size(), &decoded, &problem)) {
            error = OneLine(std::move(problem));
            return false;
        }
    } catch (const Json::Exception& exception) { // its depth limit, for one
        error = OneLine(exception.what());
        return false;
    }
    if (root == Root::OBJECT && !decoded.isObject()) {
        error = "the top level is no object";
        return false;
    }
    value.swap(decoded);
    return true;
}

std::string Encode(const Json::Value& value) {
    if (value.isNull()) {
        return {};
    }
    static thread_local std::ostringstream stream;
    stream.str({});
    stream.clear();
    Writer().write(value, &stream);
    return WireText::ValidJson(std::move(stream).str());
}

} // namespace Quill::JsonCodec

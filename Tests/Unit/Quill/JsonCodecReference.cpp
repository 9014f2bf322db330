// SPDX-License-Identifier: Apache-2.0
#include "JsonCodecReference.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <sstream>

#include "WireText.h"

namespace json_reference {

namespace {

Json::CharReader& Reader() {
    static const std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        builder["strictRoot"] = false;
        builder["stackLimit"] = Quill::JsonCodec::DEEPEST_NESTING + 1;
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    return *reader;
}

Json::StreamWriter& Writer() {
    static const std::unique_ptr<Json::StreamWriter> writer = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
    }();
    return *writer;
}

std::string OneLine(std::string text) {
    text.erase(text.find_last_not_of('\n') + 1);
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

Outcome Refusal(const std::string& error) {
    return {false, {}, OneLine(error)};
}

// Keys, or positions in an array.
std::string NameOf(const Json::ValueConstIterator& item) {
    const char* end = nullptr;
    const char* const name = item.memberName(&end);
    return name == nullptr ? '[' + std::to_string(item.index()) + ']'
                           : '.' + std::string(name, end);
}

std::string ContentDifference(const Json::Value& one, const Json::Value& other) {
    if (one.size() != other.size()) {
        return ": sizes " + std::to_string(one.size()) + " and " + std::to_string(other.size());
    }
    auto a = one.begin();
    auto b = other.begin();
    for (; a != one.end() && b != other.end(); ++a, ++b) {
        if (NameOf(a) != NameOf(b)) {
            return ": " + NameOf(a) + " and " + NameOf(b);
        }
        const std::string difference = Difference(*a, *b);
        if (!difference.empty()) {
            return NameOf(a) + difference;
        }
    }
    return a == one.end() && b == other.end() ? "" : ": one has holes";
}

} // namespace

Outcome Decode(std::string_view text, Quill::JsonCodec::Root root) {
    if (text.empty()) {
        return {true, {}, ""};
    }
    Outcome outcome;
    std::string error;
    try {
        if (!Reader().parse(text.data(), text.data() + text.size(), &outcome.value, &error)) {
            return Refusal(error);
        }
    } catch (const Json::Exception& exception) {
        return Refusal(exception.what());
    }
    if (root == Quill::JsonCodec::Root::OBJECT && !outcome.value.isObject()) {
        return Refusal("the top level is no object");
    }
    outcome.isTaken = true;
    return outcome;
}

Outcome DecodeOurs(std::string_view text, Quill::JsonCodec::Root root) {
    // Its end is the end of the memory, for the sanitizers' sake.
    const std::unique_ptr<char[]> copy(new char[text.size()]);
    std::copy(text.begin(), text.end(), copy.get());
    Outcome outcome;
    outcome.value = "as it was";
    outcome.isTaken =
        Quill::JsonCodec::Decode({copy.get(), text.size()}, root, outcome.value, outcome.error);
    return outcome;
}

std::string Encode(const Json::Value& value) {
    if (value.isNull()) {
        return {};
    }
    std::ostringstream stream;
    Writer().write(value, &stream);
    return Quill::WireText::ValidJson(stream.str());
}

std::string Difference(const Json::Value& one, const Json::Value& other) {
    if (one.type() != other.type()) {
        return ": types " + std::to_string(one.type()) + " and " + std::to_string(other.type());
    }
    bool isSame = true;
    switch (one.type()) {
    case Json::nullValue:
        break;
    case Json::intValue:
        isSame = one.asInt64() == other.asInt64();
        break;
    case Json::uintValue:
        isSame = one.asUInt64() == other.asUInt64();
        break;
    case Json::realValue:
        isSame = std::bit_cast<std::uint64_t>(one.asDouble()) ==
                 std::bit_cast<std::uint64_t>(other.asDouble());
        break;
    case Json::stringValue:
    case Json::booleanValue:
        isSame = one.asString() == other.asString();
        break;
    case Json::arrayValue:
    case Json::objectValue:
        return ContentDifference(one, other);
    }
    return isSame ? "" : ": " + one.asString() + " and " + other.asString();
}

std::string DecodingDifference(std::string_view text, Quill::JsonCodec::Root root) {
    const Outcome wanted = Decode(text, root);
    const Outcome ours = DecodeOurs(text, root);
    if (ours.isTaken != wanted.isTaken) {
        return ours.isTaken ? "taken, instead of " + wanted.error : "refused: " + ours.error;
    }
    if (!ours.isTaken) {
        const std::string left = Difference(ours.value, "as it was");
        return ours.error != wanted.error ? ours.error + ", instead of " + wanted.error
               : left.empty()             ? ""
                                          : "the value was touched" + left;
    }
    const std::string difference = Difference(ours.value, wanted.value);
    return difference.empty() ? EncodingDifference(ours.value) : "decoded" + difference;
}

std::string EncodingDifference(const Json::Value& value) {
    const std::string wanted = Encode(value);
    const std::string ours = Quill::JsonCodec::Encode(value);
    return ours == wanted ? "" : "encoded: " + ours + "\ninstead of " + wanted;
}

} // namespace json_reference

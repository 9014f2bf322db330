// SPDX-License-Identifier: Apache-2.0
#include "JsonCodec.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include "FastReader.h"
#include "JsonScalar.h"
#include "JsonText.h"
#include "PerThread.h"
#include "WireText.h"

namespace Quill::JsonCodec {

namespace {

using marrow::base::JsonText;
using marrow::base::PerThread;

// What is allowed, what comes of it and how an error reads is JsonCpp's. Its reader and its writer
// do what the quick ways below leave to them.
//
// Readers and writers are slow to make and keep nothing between two texts, so that each thread
// has its own.
struct Reader {
    const std::unique_ptr<Json::CharReader> json;

    Reader() : json(Builder().newCharReader()) {}

    static Json::CharReaderBuilder Builder() {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        builder["strictRoot"] = false; // the root's type is checked in Decode
        // The reader counts the values that it is inside of, the innermost one too.
        builder["stackLimit"] = DEEPEST_NESTING + 1;
        return builder;
    }
};

struct Writer {
    const std::unique_ptr<Json::StreamWriter> json;
    std::ostringstream stream;

    Writer() : json(Builder().newStreamWriter()) {}

    static Json::StreamWriterBuilder Builder() {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true; // the default loses what stands next to invalid bytes
        return builder;
    }
};

std::string OneLine(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// Writes values as Writer does. False where that one is to do it: a value carries a comment,
// which it would write as well.
class CompactWriter {
public:
    explicit CompactWriter(JsonText& text) : m_text(text) {}

    bool Write(const Json::Value& value) {
        if (marrow::base::HasComment(value)) {
            return false;
        }
        switch (value.type()) {
        case Json::arrayValue:
            return WriteArray(value);
        case Json::objectValue:
            return WriteObject(value);
        default:
            return marrow::base::AddScalar<ESCAPE>(m_text, value);
        }
    }

private:
    static constexpr auto ESCAPE = JsonText::Escape::CONTROLS;

    bool WriteArray(const Json::Value& value) {
        m_text.Add('[');
        Json::ArrayIndex next = 0;
        const auto end = value.end();
        for (auto item = value.begin(); item != end; ++item, ++next) {
            // An array may have holes, which are written as null.
            for (const Json::ArrayIndex index = item.index(); next < index; ++next) {
                m_text.Add(next == 0 ? "null" : ",null");
            }
            if (next > 0) {
                m_text.Add(',');
            }
            if (!Write(*item)) {
                return false;
            }
        }
        m_text.Add(']');
        return true;
    }

    bool WriteObject(const Json::Value& value) {
        char before = '{';
        const auto end = value.end();
        for (auto member = value.begin(); member != end; ++member) {
            m_text.Add(before);
            before = ',';
            if (!marrow::base::AddMemberName<ESCAPE>(m_text, member)) {
                return false;
            }
            m_text.Add(':');
            if (!Write(*member)) {
                return false;
            }
        }
        m_text.Add(before == '{' ? "{}" : "}");
        return true;
    }

    JsonText& m_text;
};

// A value has at least one of these characters ahead of it, outside of strings, but for the first.
bool HasTooManyValues(std::string_view text) {
    if (text.size() <= MOST_VALUES) {
        return false;
    }
    std::size_t count = 0;
    bool isInString = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            isInString = !isInString;
        } else if (isInString) {
            at += c == '\\' ? 1 : 0;
        } else if (c == ',' || c == '[' || c == '{') {
            ++count;
        }
    }
    return count > MOST_VALUES;
}

std::string EncodeSlowly(const Json::Value& value) {
    auto& [writer, stream] = PerThread<Writer>::Get();
    stream.str({});
    stream.clear();
    writer->write(value, &stream);
    return std::move(stream).str();
}

} // namespace

bool Decode(std::string_view text, Root root, Json::Value& value, std::string& error) {
    if (text.empty()) {
        value = Json::Value();
        return true;
    }
    if (HasTooManyValues(text)) {
        error = "more than " + std::to_string(MOST_VALUES) + " values";
        return false;
    }
    if (ReadFast(text, root, value)) {
        return true;
    }
    std::string copy;
    if (text.ends_with('\r')) { // behind which the library looks for a line feed, even at the end
        copy = text;
        text = copy;
    }
    Json::Value decoded;
    std::string problem;
    try {
        if (!PerThread<Reader>::Get().json->parse(text.data(), text.data() + text.size(), &decoded,
                                                  &problem)) {
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
    auto& text = PerThread<JsonText>::Get();
    text.Clear();
    std::string written =
        CompactWriter(text).Write(value) ? std::string(text.Text()) : EncodeSlowly(value);
    return WireText::ValidJson(std::move(written));
}

} // namespace Quill::JsonCodec

// SPDX-License-Identifier: Apache-2.0
#include "ManifestText.h"

#include <algorithm>

#include <json/reader.h>

namespace hearthctl {

namespace {

// The reader that manifests are read by; its successor takes less and more.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

std::optional<ManifestText::SyntaxError> Parse(const std::string& text, Json::Value& root) {
    Json::Reader reader;
    try {
        if (reader.parse(text, root, false)) {
            return std::nullopt;
        }
    } catch (const Json::Exception&) {
        return ManifestText::SyntaxError{"it is nested too deep"};
    }
    const auto errors = reader.getStructuredErrors();
    if (errors.empty()) {
        return ManifestText::SyntaxError{"it is no JSON"};
    }
    return ManifestText::SyntaxError{errors.front().message,
                                     static_cast<std::size_t>(errors.front().offset_start)};
}

#pragma GCC diagnostic pop

// A string with its quotes, as the reader decodes it.
std::string Decoded(const std::string& quoted) {
    Json::Value value;
    return Parse(quoted, value) ? quoted : value.asString();
}

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

ManifestText::ManifestText(std::string path, std::string text)
    : m_path(std::move(path)), m_text(std::move(text)), m_error(Parse(m_text, m_root)) {
    if (m_error) {
        m_root = Json::Value();
    }
}

Place ManifestText::At(std::size_t offset) const {
    const auto end = m_text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, m_text.size()));
    const auto line = std::find(std::make_reverse_iterator(end), m_text.rend(), '\n').base();
    return {
        m_path, 1 + static_cast<int>(std::count(m_text.begin(), end, '\n')),
        1 + static_cast<int>(std::distance(line, end) - std::count_if(line, end, IsContinuation))};
}

Place ManifestText::At(const Json::Value& value) const {
    return At(static_cast<std::size_t>(value.getOffsetStart()));
}

// The text has been parsed: strings, comments and brackets end.
std::vector<ManifestText::Key> ManifestText::KeysOf(const Json::Value& object) const {
    std::vector<Key> keys;
    std::size_t string = 0;
    std::size_t end = 0; // of the last string
    int depth = 0;
    const auto limit = static_cast<std::size_t>(object.getOffsetLimit());
    for (auto at = static_cast<std::size_t>(object.getOffsetStart()); at < limit; ++at) {
        switch (m_text[at]) {
        case '"':
            string = at;
            end = EndOfString(at);
            at = end - 1;
            break;
        case '/':
            at = EndOfComment(at) - 1;
            break;
        case '{':
        case '[':
            ++depth;
            break;
        case '}':
        case ']':
            --depth;
            break;
        case ':':
            if (depth == 1) {
                keys.push_back({Decoded(m_text.substr(string, end - string)), string});
            }
            break;
        default:
            break;
        }
    }
    return keys;
}

std::optional<std::size_t> ManifestText::Leftover() const {
    auto at = static_cast<std::size_t>(m_root.getOffsetLimit());
    while ((at = m_text.find_first_not_of(" \t\r\n", at)) != std::string::npos) {
        const std::size_t end = EndOfComment(at);
        if (end == at) {
            return at;
        }
        at = end;
    }
    return std::nullopt;
}

std::size_t ManifestText::EndOfString(std::size_t begin) const {
    std::size_t at = begin + 1;
    while (at < m_text.size() && m_text[at] != '"') {
        at += m_text[at] == '\\' ? 2 : 1;
    }
    return std::min(at + 1, m_text.size());
}

// `begin` itself where no comment begins there.
std::size_t ManifestText::EndOfComment(std::size_t begin) const {
    const std::string opening = m_text.substr(begin, 2);
    if (opening == "//") {
        return std::min(m_text.find_first_of("\r\n", begin), m_text.size());
    }
    const std::size_t end = opening == "/*" ? m_text.find("*/", begin + 2) : std::string::npos;
    return end == std::string::npos ? begin : end + 2;
}

} // namespace hearthctl

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "Finding.h"

namespace hearthctl {

/// A manifest's text, what the daemon's JSON reader makes of it, and where in the text that stands.
class ManifestText {
public:
    /// A key of an object, in the order of the text. The same name may come more than once.
    struct Key {
        std::string name;
        std::size_t offset = 0;
    };
    /// Why the text isn't JSON.
    struct SyntaxError {
        std::string text;
        std::size_t offset = 0;
    };

    ManifestText(std::string path, std::string text);

    const std::optional<SyntaxError>& Error() const { return m_error; }
    const Json::Value& Root() const { return m_root; } ///< null behind an error

    Place At(std::size_t offset) const;
    Place At(const Json::Value& value) const;

    std::vector<Key> KeysOf(const Json::Value& object) const;
    /// The first character behind the top-level value that is neither blank nor in a comment.
    std::optional<std::size_t> Leftover() const;

private:
    std::size_t EndOfString(std::size_t begin) const;
    std::size_t EndOfComment(std::size_t begin) const;

    const std::string m_path;
    const std::string m_text;
    Json::Value m_root;
    std::optional<SyntaxError> m_error;
};

} // namespace hearthctl

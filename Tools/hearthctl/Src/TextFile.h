// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace hearthctl {

/// A file's text. Nothing where it can't be read, with the reason in errno. (A folder opens as a
/// file does, and fails at the first read.)
inline std::optional<std::string> ReadTextFile(const std::string& path) {
    std::ifstream file(path);
    file.peek();
    if (!file.is_open() || file.bad()) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

} // namespace hearthctl

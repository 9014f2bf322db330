// SPDX-License-Identifier: Apache-2.0
#include "Spelling.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace hearthctl {

namespace {

// How many characters are to be changed, put in or taken out.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

} // namespace

std::string NearestName(const std::string& word, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t least = std::string::npos;
    for (const std::string& name : names) {
        const std::size_t distance = Distance(word, name);
        if (distance < least && distance <= name.size() / 2) {
            nearest = name;
            least = distance;
        }
    }
    return nearest;
}

} // namespace hearthctl

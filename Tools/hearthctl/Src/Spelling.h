// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace hearthctl {

/// The one of `names` that `word` was probably meant to be; empty where it resembles none.
std::string NearestName(const std::string& word, const std::vector<std::string>& names);

} // namespace hearthctl

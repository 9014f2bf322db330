// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iostream>
#include <string>

namespace marrow::base {

/// Writes to standard output, in one piece so that lines of several threads don't mix. What can't
/// be written is lost, and nothing that comes after it: a full disk may have room again.
inline void Print(const std::string& text) {
    std::cout << text << std::flush;
    if (!std::cout) {
        std::cout.clear();
    }
}

} // namespace marrow::base

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the process, which is how a fuzzer learns of a finding, where there is a difference.
inline void Check(const std::string& difference) {
    if (!difference.empty()) {
        std::fprintf(stderr, "%s\n", difference.c_str());
        std::abort();
    }
}

/// The same where something that must hold doesn't.
inline void Require(bool holds, const std::string& what) {
    Check(holds ? "" : "not so: " + what);
}

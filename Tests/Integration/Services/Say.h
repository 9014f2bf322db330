// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

/// Tells a test where its service is: a line of the daemon's output.
inline void Say(const std::string& what) {
    std::puts(what.c_str());
    std::fflush(stdout);
}

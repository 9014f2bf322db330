// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>

/// Which of valgrind's tools the tests' daemons run under (UnderValgrind.h); null for none.
inline const char* TestTool() {
    return std::getenv("HEARTHD_TEST_TOOL");
}

/// A test's limit, which is longer under a tool.
template <typename Duration>
Duration Patient(Duration limit) {
    constexpr int TIMES_SLOWER = 10;
    return TestTool() == nullptr ? limit : limit * TIMES_SLOWER;
}

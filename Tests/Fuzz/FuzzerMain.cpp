// SPDX-License-Identifier: Apache-2.0

// libFuzzer's way into the function that HEARTHD_FUZZED names.

#include "Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return HEARTHD_FUZZED({data, size});
}

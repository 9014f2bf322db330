// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes as a transport stream. The first byte says in what pieces it comes.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "StreamCore.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t piece = data[0] == 0 ? size : data[0] * std::size_t{7};
    StreamCore core;
    for (std::size_t at = 1; at < size; at += piece) {
        core.Push({data + at, std::min(piece, size - at)});
    }
    core.Break();
    return 0;
}

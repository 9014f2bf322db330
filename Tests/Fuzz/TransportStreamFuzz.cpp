// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes as a transport stream. The first byte says in what pieces it comes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Fuzz.h"
#include "StreamCore.h"

int FuzzTransportStream(std::span<const std::uint8_t> input) {
    if (input.empty()) {
        return 0;
    }
    const std::size_t piece = input[0] == 0 ? input.size() : input[0] * std::size_t{7};
    StreamCore core;
    for (std::size_t at = 1; at < input.size(); at += piece) {
        core.Push(input.subspan(at, std::min(piece, input.size() - at)));
    }
    core.Break();
    return 0;
}

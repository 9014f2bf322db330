// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Program.h"

inline constexpr const char* HEARTHCTL = HEARTHD_STAGE "/usr/bin/hearthctl";

/// How a run of hearthctl has ended.
struct Result {
    int status;
    std::string output;
    std::string errors;
};

/// The installed hearthctl with these words.
inline Result Hearthctl(std::vector<std::string> words, Program::At at = Program::At::FILES,
                        const std::string& input = {}) {
    words.insert(words.begin(), HEARTHCTL);
    Program program(words, at, input);
    const int status = program.Wait();
    return {status, program.Output(), program.Errors()};
}

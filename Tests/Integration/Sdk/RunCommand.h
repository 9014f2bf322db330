// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

#include "ReadFile.h"

/// Has the shell run it. A command that fails fails the test, with what it has said, which goes to
/// the file `log`.
inline void RunCommand(const std::string& command, const std::string& log) {
    if (std::system(("{ " + command + "\n} >" + log + " 2>&1").c_str()) != 0) {
        FAIL() << command << "\n" << ReadFile(log);
    }
}

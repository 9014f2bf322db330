// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LayoutDump.h"

/// The layouts of the classes in Layouts.cpp, made once in a process.
inline const LayoutDump& Layouts() {
    static const auto* const dump = new LayoutDump(LAYOUTS_CLANG, LAYOUTS_FLAGS, LAYOUTS_SOURCE);
    return *dump;
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

/// A pointer as the log prints it, for expected lines.
inline std::string Pointer(const volatile void* pointer) {
    char text[32];
    std::snprintf(text, sizeof(text), "%p", const_cast<const void*>(pointer));
    return text;
}

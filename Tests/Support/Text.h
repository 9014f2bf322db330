// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

/// What printf would print: for expected lines of the log with a pointer in them.
__attribute__((format(printf, 1, 2))) inline std::string Text(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char* raw = nullptr;
    const int length = vasprintf(&raw, format, arguments);
    va_end(arguments);
    if (length < 0) {
        std::abort();
    }
    const std::string text(raw, static_cast<std::size_t>(length));
    std::free(raw);
    return text;
}

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <limits>
#include <string>

#include "Log.h"

namespace {

std::string g_line;

} // namespace

// A platform's log that offers no more than this.
extern "C" int __dlog_print(int priority, const char* tag, const char* format, ...) {
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    g_line = std::to_string(priority) + " " + tag + " " + text;
    return length;
}

namespace {

TEST(Log, NamesSourceFunctionAndLine) {
    const int line = __LINE__ + 1;
    LOGW("%s of %d", "text", 5);
    EXPECT_EQ(g_line,
              "5 HEARTHD LogTest.cpp: TestBody(" + std::to_string(line) + ") > text of 5\n");
}

TEST(Log, HasRoomForEverythingWhereThePlatformsLogDoesntTell) {
    EXPECT_EQ(LogRoom(DLOG_DEBUG), std::numeric_limits<std::size_t>::max());
}

} // namespace

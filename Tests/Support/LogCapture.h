// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "HoldPoint.h"

/// What the code under test has logged. Linking LogCapture.cpp puts functions of its own in the
/// place of the log library's, for the whole test process. Any thread.
class LogCapture {
public:
    struct Line {
        int priority; ///< DLOG_DEBUG, DLOG_INFO, DLOG_WARN or DLOG_ERROR
        std::string tag;
        std::string text; ///< behind the "%s: %s(%d) > " prefix, without the closing newline
    };

    static std::vector<Line> Lines();
    /// Forgets the lines, and what SetRoom was told.
    static void Clear();
    /// What the log says of how much it writes of a text; everything unless set. The lines are
    /// kept whole all the same.
    static void SetRoom(unsigned room);

    /// How many lines of this priority have exactly this text.
    static int Count(int priority, std::string_view text);
    /// How many lines of this priority begin with this text.
    static int CountBeginning(int priority, std::string_view text);
    /// Waits until Count is at least `count`; false when `limit` has passed first.
    static bool WaitFor(int priority, std::string_view text, int count = 1,
                        std::chrono::seconds limit = std::chrono::seconds(20));

    /// Stops a thread that logs a certain line, right ahead of it.
    static HoldPoint& AtLine();
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "HoldPoint.h"

/// What the code under test writes to std::cout, line by line, and a way to stop the thread that
/// writes a certain line, right behind it. It takes the place of std::cout's buffer at the first
/// Get, which comes ahead of every other thread, and keeps it. Any thread.
class CoutCapture : public HoldPoint, private std::streambuf {
public:
    struct Line {
        std::string text;   ///< without the newline
        std::string thread; ///< the kernel's name of the thread that wrote it
    };

    static CoutCapture& Get();

    std::vector<Line> Lines();
    void Clear();
    int Count(std::string_view text);
    /// Waits until `count` lines have this text; false when the limit has passed first.
    bool WaitFor(std::string_view text, int count = 1,
                 std::chrono::seconds limit = std::chrono::seconds(20));
    /// How often the stream was flushed.
    int Flushes();

private:
    CoutCapture();
    std::streamsize xsputn(const char* text, std::streamsize length) override;
    int_type overflow(int_type character) override;
    int sync() override;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::thread::id, std::string> m_begun; // lines that lack their end
    std::vector<Line> m_lines;
    int m_flushes = 0;
};

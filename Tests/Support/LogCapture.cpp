// SPDX-License-Identifier: Apache-2.0
#include "LogCapture.h"

#include <algorithm>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <mutex>

#include "Dlog.h"

namespace {

constexpr unsigned EVERYTHING = std::numeric_limits<unsigned>::max();

// Never destroyed: threads of the code under test may log at exit.
struct Captured {
    std::mutex mutex;
    std::condition_variable added;
    std::vector<LogCapture::Line> lines;
    unsigned room = EVERYTHING;
    HoldPoint holdPoint;

    static Captured& Get() {
        static auto* const captured = new Captured;
        return *captured;
    }
};

int CountIf(const std::vector<LogCapture::Line>& lines, int priority, auto matches) {
    return static_cast<int>(
        std::count_if(lines.begin(), lines.end(), [&](const LogCapture::Line& line) {
            return line.priority == priority && matches(line.text);
        }));
}

} // namespace

std::vector<LogCapture::Line> LogCapture::Lines() {
    Captured& captured = Captured::Get();
    const std::scoped_lock lock(captured.mutex);
    return captured.lines;
}

void LogCapture::Clear() {
    Captured& captured = Captured::Get();
    const std::scoped_lock lock(captured.mutex);
    captured.lines.clear();
    captured.room = EVERYTHING;
}

void LogCapture::SetRoom(unsigned room) {
    Captured& captured = Captured::Get();
    const std::scoped_lock lock(captured.mutex);
    captured.room = room;
}

int LogCapture::Count(int priority, std::string_view text) {
    return CountIf(Lines(), priority, [&](const std::string& line) { return line == text; });
}

int LogCapture::CountBeginning(int priority, std::string_view text) {
    return CountIf(Lines(), priority,
                   [&](const std::string& line) { return line.starts_with(text); });
}

bool LogCapture::WaitFor(int priority, std::string_view text, int count,
                         std::chrono::seconds limit) {
    Captured& captured = Captured::Get();
    std::unique_lock lock(captured.mutex);
    return captured.added.wait_for(lock, limit, [&] {
        return CountIf(captured.lines, priority,
                       [&](const std::string& line) { return line == text; }) >= count;
    });
}

HoldPoint& LogCapture::AtLine() {
    return Captured::Get().holdPoint;
}

// In the place of the log library's, both.
extern "C" unsigned __dlog_room(int /*priority*/, const char* /*tag*/) {
    Captured& captured = Captured::Get();
    const std::scoped_lock lock(captured.mutex);
    return captured.room;
}

extern "C" int __dlog_print(int priority, const char* tag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char* raw = nullptr;
    const int length = vasprintf(&raw, format, arguments);
    va_end(arguments);
    if (length < 0) {
        std::abort();
    }
    std::string text(raw, static_cast<std::size_t>(length));
    std::free(raw);
    if (std::getenv("HEARTHD_TEST_LOG") != nullptr) {
        std::fprintf(stderr, "[%d %s] %s", priority, tag, text.c_str());
    }
    if (const auto end = text.find(" > ");
        std::string_view(tag) == "HEARTHD" && end != std::string::npos) {
        text.erase(0, end + 3);
    }
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    Captured& captured = Captured::Get();
    captured.holdPoint.Pass(text);
    {
        const std::scoped_lock lock(captured.mutex);
        captured.lines.push_back({priority, tag, std::move(text)});
    }
    captured.added.notify_all();
    return length;
}

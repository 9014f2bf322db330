// SPDX-License-Identifier: Apache-2.0
#include "Dlog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <spdlog/spdlog.h>

#include "BufferedSink.h"
#include "PerThread.h"

namespace {

constexpr std::size_t USUAL_LINE = 1024;
constexpr std::size_t LONGEST_TEXT = 64 * 1024;
constexpr std::string_view CUT_MARK = "... (cut)";
// Signals whose default action ends the process.
constexpr std::array FATAL_SIGNALS{SIGSEGV, SIGBUS, SIGFPE, SIGILL,  SIGABRT,
                                   SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGSYS};

BufferedSink* g_sinkOfSignals = nullptr;

// Its descriptor is the journal's when JOURNAL_STREAM names device and inode of standard error.
bool StandardErrorIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) {
        return false;
    }
    std::uintmax_t device = 0;
    std::uintmax_t inode = 0;
    return std::sscanf(stream, "%ju:%ju", &device, &inode) == 2 && device == status.st_dev &&
           inode == status.st_ino;
}

void FlushAndDie(int signal) {
    const int error = errno;
    g_sinkOfSignals->FlushFromSignalHandler();
    errno = error;
    if (getpid() == 1) { // the default action doesn't end the first process of a container
        constexpr int SIGNALLED = 128;
        _exit(SIGNALLED + signal);
    }
    // SA_RESETHAND has restored the default action: once this handler returns, it is taken.
    raise(signal);
}

// The process keeps whatever handlers it has; only default actions get a flush ahead of them.
void FlushAtFatalSignals(BufferedSink* sink) {
    g_sinkOfSignals = sink;
    for (const int signal : FATAL_SIGNALS) {
        struct sigaction current {};
        if (sigaction(signal, nullptr, &current) != 0 || (current.sa_flags & SA_SIGINFO) != 0 ||
            current.sa_handler != SIG_DFL) {
            continue;
        }
        struct sigaction action {};
        action.sa_handler = FlushAndDie;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigemptyset(&action.sa_mask);
        sigaction(signal, &action, nullptr);
    }
}

spdlog::level::level_enum LevelFromEnvironment() {
    const char* name = std::getenv("DLOG_LEVEL");
    if (name == nullptr) {
        return spdlog::level::info;
    }
    const std::string_view level(name);
    if (level == "debug") {
        return spdlog::level::debug;
    }
    if (level == "info") {
        return spdlog::level::info;
    }
    if (level == "warn") {
        return spdlog::level::warn;
    }
    if (level == "error") {
        return spdlog::level::err;
    }
    if (level == "off") {
        return spdlog::level::off;
    }
    std::fprintf(
        stderr, "DLOG_LEVEL is '%s': not one of debug, info, warn, error, off; using info\n", name);
    return spdlog::level::info;
}

// The logger lives as long as the process: static destructors may log.
struct Log {
    std::shared_ptr<BufferedSink> sink;
    spdlog::level::level_enum level;

    Log() : level(LevelFromEnvironment()) {
        const bool journal = StandardErrorIsJournal();
        sink = std::make_shared<BufferedSink>(
            STDERR_FILENO, journal, journal ? "%n [%t] %v" : "%Y-%m-%d %H:%M:%S.%f %L %n [%t] %v");
        FlushAtFatalSignals(sink.get());
        std::atexit([] { Get().sink->StopBuffering(); });
    }

    static Log& Get() {
        static Log* const log = new Log;
        return *log;
    }
};

spdlog::level::level_enum ToLevel(int priority) {
    switch (priority) {
    case DLOG_ERROR:
        return spdlog::level::err;
    case DLOG_WARN:
        return spdlog::level::warn;
    case DLOG_DEBUG:
        return spdlog::level::debug;
    default:
        return spdlog::level::info;
    }
}

// Where a thread's lines are formatted. It grows to the longest of them, so that a thread which
// writes long lines formats each one once; it is 64 KiB at the most, and ends with the thread.
class LineMemory {
public:
    /// The text, cut if it is too long, or nothing where it can't be formatted. `length` gets what
    /// vsnprintf says of it.
    [[gnu::format(printf, 2, 0)]] std::string_view Format(const char* format, va_list arguments,
                                                          int& length) {
        va_list again;
        va_copy(again, arguments);
        length = std::vsnprintf(m_memory.data(), Room(), format, arguments);
        const auto size = static_cast<std::size_t>(std::max(length, 0));
        if (size >= Room() && Room() <= LONGEST_TEXT) {
            const std::size_t room = std::max(size + 1, 2 * Room());
            m_memory.resize(std::min(room, LONGEST_TEXT + 1) + CUT_MARK.size());
            std::vsnprintf(m_memory.data(), Room(), format, again);
        }
        va_end(again);
        if (size <= LONGEST_TEXT) {
            return {m_memory.data(), size};
        }
        CUT_MARK.copy(m_memory.data() + LONGEST_TEXT, CUT_MARK.size());
        return {m_memory.data(), LONGEST_TEXT + CUT_MARK.size()};
    }

private:
    // There is always room for the mark behind what vsnprintf may use.
    std::size_t Room() const { return m_memory.size() - CUT_MARK.size(); }

    std::vector<char> m_memory = std::vector<char>(USUAL_LINE + CUT_MARK.size());
};

void Write(Log& log, spdlog::level::level_enum level, const char* tag, std::string_view text) {
    while (!text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    const spdlog::details::log_msg message(tag == nullptr ? "" : tag, level,
                                           spdlog::string_view_t(text.data(), text.size()));
    log.sink->log(message);
}

} // namespace

unsigned __dlog_room(int priority, const char* /*tag*/) {
    return ToLevel(priority) < Log::Get().level ? 0 : LONGEST_TEXT;
}

int __dlog_print(int priority, const char* tag, const char* format, ...) {
    Log& log = Log::Get();
    const spdlog::level::level_enum level = ToLevel(priority);
    if (level < log.level) {
        return 0;
    }
    if (format == nullptr) {
        return -EINVAL;
    }

    va_list arguments;
    va_start(arguments, format);
    int length = 0;
    const std::string_view text =
        marrow::base::PerThread<LineMemory>::Get().Format(format, arguments, length);
    va_end(arguments);
    if (length < 0) {
        return -EINVAL;
    }
    Write(log, level, tag, text);
    return length;
}

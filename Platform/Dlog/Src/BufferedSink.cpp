// SPDX-License-Identifier: Apache-2.0
#include "BufferedSink.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <string_view>
#include <system_error>
#include <unistd.h>

#include <spdlog/pattern_formatter.h>

#include "PerThread.h"

namespace {

constexpr std::chrono::milliseconds FLUSH_INTERVAL{200};

// sd-daemon(3): "<N>" ahead of a line gives its syslog priority.
const char* JournalPrefix(spdlog::level::level_enum level) {
    switch (level) {
    case spdlog::level::debug:
        return "<7>";
    case spdlog::level::warn:
        return "<4>";
    case spdlog::level::err:
        return "<3>";
    default:
        return "<6>";
    }
}

// Writes all of `text`. Lines are dropped when standard error is gone: there is nowhere to say so.
void WriteAll(int descriptor, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd waiting{descriptor, POLLOUT, 0};
            if (poll(&waiting, 1, 1000) <= 0) {
                return;
            }
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace

// A line as the pattern wants it.
class BufferedSink::Formatting {
public:
    explicit Formatting(const std::string& pattern) : m_formatter(pattern) {}

    /// Valid until the next one.
    const spdlog::memory_buf_t& Format(const spdlog::details::log_msg& message) {
        m_line.clear();
        m_formatter.format(message, m_line);
        return m_line;
    }

private:
    spdlog::pattern_formatter m_formatter;
    spdlog::memory_buf_t m_line;
};

class BufferedSink::BufferAccess {
public:
    explicit BufferAccess(std::atomic<bool>& busy) : m_busy(busy) {
        // Only a signal handler can hold it here, and it never gives it back: the process ends.
        while (m_busy.exchange(true, std::memory_order_acquire)) {
            pause();
        }
    }
    ~BufferAccess() { m_busy.store(false, std::memory_order_release); }
    BufferAccess(const BufferAccess&) = delete;
    BufferAccess& operator=(const BufferAccess&) = delete;

private:
    std::atomic<bool>& m_busy;
};

BufferedSink::BufferedSink(int descriptor, bool journalPrefix, std::string pattern)
    : m_descriptor(descriptor), m_journalPrefix(journalPrefix), m_pattern(std::move(pattern)) {
    m_buffer.reserve(CAPACITY);
    // The process's signals are for its own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        m_flusher = std::thread([this] { RunFlusher(); });
        pthread_setname_np(m_flusher.native_handle(), "dlog-flush");
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "the log has no thread to collect lines with: %s\n", error.what());
        m_writesThrough = true;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

BufferedSink::~BufferedSink() {
    {
        const std::scoped_lock lock(m_mutex);
        m_ending = true;
    }
    m_wakeFlusher.notify_one();
    if (m_flusher.joinable()) {
        m_flusher.join();
    }
}

void BufferedSink::log(const spdlog::details::log_msg& message) {
    const spdlog::memory_buf_t& line =
        marrow::base::PerThread<Formatting>::Get(m_pattern).Format(message);
    const std::scoped_lock lock(m_mutex);
    {
        const BufferAccess access(m_bufferBusy);
        if (m_journalPrefix) {
            AppendWithPrefixes(message.level, line);
        } else {
            m_buffer.append(line.data(), line.size());
        }
        if (message.level >= spdlog::level::warn || m_buffer.size() >= CAPACITY ||
            m_writesThrough) {
            WriteOut();
        }
    }
    if (m_flusherIsIdle && !m_buffer.empty()) {
        m_flusherIsIdle = false;
        m_wakeFlusher.notify_one();
    }
}

void BufferedSink::flush() {
    const std::scoped_lock lock(m_mutex);
    const BufferAccess access(m_bufferBusy);
    WriteOut();
}

void BufferedSink::StopBuffering() {
    {
        const std::scoped_lock lock(m_mutex);
        m_writesThrough = true;
    }
    flush();
}

void BufferedSink::FlushFromSignalHandler() noexcept {
    if (!m_bufferBusy.exchange(true, std::memory_order_acquire)) {
        WriteAll(m_descriptor, m_buffer);
    }
}

// The journal reads a prefix at the head of each line, so a text of several lines needs several.
void BufferedSink::AppendWithPrefixes(spdlog::level::level_enum level,
                                      const spdlog::memory_buf_t& text) {
    std::string_view rest(text.data(), text.size());
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        const std::size_t length = end == std::string_view::npos ? rest.size() : end + 1;
        m_buffer.append(JournalPrefix(level)).append(rest.substr(0, length));
        rest.remove_prefix(length);
    }
}

void BufferedSink::WriteOut() {
    WriteAll(m_descriptor, m_buffer);
    m_buffer.clear();
}

void BufferedSink::RunFlusher() {
    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        if (m_buffer.empty()) {
            m_flusherIsIdle = true;
            m_wakeFlusher.wait(lock);
            m_flusherIsIdle = false;
            continue;
        }
        // A line waits: give it company for a while. Only the end cuts this short.
        m_wakeFlusher.wait_for(lock, FLUSH_INTERVAL, [this] { return m_ending; });
        const BufferAccess access(m_bufferBusy);
        WriteOut();
    }
    const BufferAccess access(m_bufferBusy);
    WriteOut();
}

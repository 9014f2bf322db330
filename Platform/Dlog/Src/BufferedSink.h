// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <spdlog/sinks/sink.h>

// Where the lines of all threads meet.
//
// A line is formatted by the thread that logs it, with a formatter of its own and no lock, and
// appended to one buffer under m_mutex. The buffer goes out in one write(2) when a line of WARN or
// above arrives, when it is full, or when the flusher thread finds it older than FLUSH_INTERVAL.
// The flusher sleeps without a time limit while the buffer is empty, so that an idle process stays
// idle. Where the system has no thread to give, each line is written at once.
//
// A fatal signal can interrupt any of this, in any thread. m_bufferBusy is set, inside m_mutex,
// exactly while the buffer is being changed or written. The signal handler takes it by an exchange:
// if it was free, the buffer is whole, and the handler writes it and never gives it back, so that
// no other thread touches the buffer while the process ends. If it was taken, the handler leaves
// the buffer alone: losing its lines is better than reading it half changed.
class BufferedSink final : public spdlog::sinks::sink {
public:
    /// Writes to `descriptor`, which stays open for the life of the process. `pattern` is spdlog's.
    BufferedSink(int descriptor, bool journalPrefix, std::string pattern);
    ~BufferedSink() override;

    void log(const spdlog::details::log_msg& message) override;
    void flush() override;
    // The pattern is the constructor's for good.
    void set_pattern(const std::string& /*pattern*/) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}

    /// From now on every line is written at once: the process is ending, and nobody will come back
    /// for a buffer.
    void StopBuffering();

    /// Async-signal-safe: writes what is buffered, unless the buffer is being changed right now.
    void FlushFromSignalHandler() noexcept;

private:
    static constexpr std::size_t CAPACITY = 64 * 1024;

    class BufferAccess;
    class Formatting;

    void AppendWithPrefixes(spdlog::level::level_enum level, const spdlog::memory_buf_t& text);
    void WriteOut();
    void RunFlusher();

    const int m_descriptor;
    const bool m_journalPrefix;
    const std::string m_pattern;
    std::mutex m_mutex;
    std::condition_variable m_wakeFlusher;
    // Below: guarded by m_mutex.
    bool m_ending = false;
    bool m_writesThrough = false;
    bool m_flusherIsIdle = false; // it waits for the buffer's first line, and is woken for it alone
    // Guarded by m_mutex and m_bufferBusy together.
    std::string m_buffer;
    std::atomic<bool> m_bufferBusy{false};
    std::thread m_flusher;
};

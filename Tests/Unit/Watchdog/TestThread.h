// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include "SystemCall.h"
#include "WaitUntil.h"

/// A thread that waits in read() until it is told to go on.
class ReadingThread {
public:
    ReadingThread() {
        if (pipe(m_pipe.data()) != 0) {
            m_pipe = {-1, -1};
        }
        m_thread = std::thread([this] {
            m_id = static_cast<pid_t>(syscall(SYS_gettid));
            char byte = 0;
            m_result = read(m_pipe[0], &byte, 1);
        });
        WaitUntil([this] { return IsReading(); });
    }
    ~ReadingThread() {
        End();
        close(m_pipe[0]);
        close(m_pipe[1]);
    }
    ReadingThread(const ReadingThread&) = delete;
    ReadingThread& operator=(const ReadingThread&) = delete;

    pid_t Id() const { return m_id; }
    bool IsReading() const { return m_id != 0 && IsIn(m_id, SYS_read); }

    /// Ends the read, and the thread. What the read has returned.
    ssize_t End() {
        if (m_thread.joinable()) {
            const char byte = 'x';
            if (write(m_pipe[1], &byte, 1) != 1) {
                return -2;
            }
            m_thread.join();
        }
        return m_result;
    }

private:
    std::array<int, 2> m_pipe{};
    std::atomic<pid_t> m_id = 0;
    ssize_t m_result = -2;
    std::thread m_thread;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "Dlog.h"
#include "LogCapture.h"
#include "StreamIPC.h"
#include "WaitUntil.h"

/// A FIFO where the daemon looks for it. In a private view only.
class ControlPipe {
public:
    ControlPipe() { Make(); }
    ~ControlPipe() { Remove(); }
    ControlPipe(const ControlPipe&) = delete;
    ControlPipe& operator=(const ControlPipe&) = delete;

    static const char* Path() { return marrow::dbg::StreamIPC::FIFO_PATH; }

    static bool Make() {
        std::filesystem::create_directories(std::filesystem::path(Path()).parent_path());
        return mkfifo(Path(), 0600) == 0;
    }
    static void Remove() { std::filesystem::remove_all("/usr/apps/org.norvane.hearthd"); }

    /// Whether somebody reads the pipe, or waits in open() to do so.
    static bool HasReader() {
        const int fd = open(Path(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd != -1) {
            close(fd);
        }
        return fd != -1;
    }
};

/// One visit of a writer. It waits for the reader.
class Writer {
public:
    Writer() {
        WaitUntil([this] {
            m_fd = open(ControlPipe::Path(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            return m_fd != -1 || errno != ENXIO;
        });
    }
    ~Writer() { close(m_fd); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// False where the pipe had no room; it doesn't wait for it.
    bool WriteNow(std::string_view text) const {
        return write(m_fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    }

    /// Waits for room. False where no reader comes.
    bool Write(std::string_view text) const {
        return WaitUntil([&] {
            const ssize_t size = write(m_fd, text.data(), text.size());
            text.remove_prefix(size > 0 ? static_cast<std::size_t>(size) : 0);
            return text.empty();
        });
    }

    int Descriptor() const { return m_fd; }

private:
    int m_fd = -1;
};

/// A whole visit: the text, and the end of the run that has read it.
inline bool Visit(std::string_view text) {
    constexpr const char* END = "Preparing the next task for the reader thread";
    const int runs = LogCapture::Count(DLOG_INFO, END);
    const bool isWritten = Writer().Write(text); // and has gone again
    return isWritten && LogCapture::WaitFor(DLOG_INFO, END, runs + 1);
}

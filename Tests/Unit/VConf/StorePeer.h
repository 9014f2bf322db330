// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>

/// Another process that uses the store that VCONF_DATABASE names: vconf-peer. It ends with this
/// object.
class StorePeer {
public:
    StorePeer();
    ~StorePeer();
    StorePeer(const StorePeer&) = delete;
    StorePeer& operator=(const StorePeer&) = delete;

    /// Has it do this, and returns its answer; nothing where it has died of it.
    std::string Ask(const std::string& line);
    void Tell(const std::string& line) const;
    /// The next answer.
    std::string Answer();

    /// Ends its input, or kills it, and waits at most this long for its end. The exit status, 128
    /// and the signal that ended it, or -1.
    int End(std::chrono::seconds limit = std::chrono::seconds(30));
    void Signal(int signal) const;

private:
    pid_t m_pid = -1;
    int m_input = -1;
    int m_answers = -1;
    std::string m_read;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

/// A program that a test runs: with files for its standard streams, or at a terminal of 80 columns
/// as a person would. It is ended with this object.
class Program {
public:
    enum class At { FILES, TERMINAL };

    /// Starts it. `input` is what it reads where it isn't at a terminal.
    explicit Program(const std::vector<std::string>& words, At at = At::FILES,
                     const std::string& input = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Waits for its end, at most a minute. The exit status, or 128 and the signal that ended it.
    int Wait();
    bool HasEnded();
    void Signal(int signal) const;
    /// At a terminal.
    void Type(const std::string& keys) const;
    bool WaitForOutput(const std::string& text);

    /// What it has written so far: at a terminal both streams, with plain newlines.
    std::string Output();
    std::string Errors() const;

    pid_t Pid() const { return m_pid; }

private:
    void ReadTerminal();

    std::string m_folder;
    std::string m_screen;
    int m_terminal = -1;
    pid_t m_pid = -1;
    int m_status = -1;
    bool m_ended = false;
};

// SPDX-License-Identifier: Apache-2.0
#include "StorePeer.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "WaitUntil.h"

StorePeer::StorePeer() {
    constexpr int ANSWERS = 3; // its number there
    std::array<int, 2> input{};
    std::array<int, 2> answers{};
    if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(answers.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    // Above the number that is to be taken.
    const int written = fcntl(answers[1], F_DUPFD_CLOEXEC, 10);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, written, ANSWERS);
    std::string program = HEARTHD_VCONF_PEER;
    std::string number = std::to_string(ANSWERS);
    const std::array<char*, 3> words{program.data(), number.data(), nullptr};
    const int failed =
        posix_spawn(&m_pid, program.c_str(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(answers[1]);
    close(written);
    m_input = input[1];
    m_answers = answers[0];
    if (failed != 0) {
        throw std::runtime_error("no peer");
    }
}

StorePeer::~StorePeer() {
    if (m_pid > 0) {
        Signal(SIGKILL);
        End();
    }
    close(m_answers);
}

void StorePeer::Tell(const std::string& line) const {
    const std::string text = line + "\n";
    if (write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the peer doesn't listen");
    }
}

std::string StorePeer::Answer() {
    while (m_read.find('\n') == std::string::npos) {
        std::array<char, 256> text{};
        const ssize_t size = read(m_answers, text.data(), text.size());
        if (size <= 0) {
            return {};
        }
        m_read.append(text.data(), static_cast<std::size_t>(size));
    }
    const std::size_t end = m_read.find('\n');
    const std::string answer = m_read.substr(0, end);
    m_read.erase(0, end + 1);
    return answer;
}

std::string StorePeer::Ask(const std::string& line) {
    Tell(line);
    return Answer();
}

void StorePeer::Signal(int signal) const {
    kill(m_pid, signal);
}

int StorePeer::End(std::chrono::seconds limit) {
    if (m_input >= 0) {
        close(m_input);
        m_input = -1;
    }
    int status = 0;
    if (!WaitUntil([&] { return waitpid(m_pid, &status, WNOHANG) == m_pid; }, limit)) {
        return -1;
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <pty.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ReadFile.h"
#include "WaitUntil.h"

namespace {

void Redirect(const char* path, int flags, int descriptor) {
    const int file = open(path, flags, 0600);
    dup2(file, descriptor);
    close(file);
}

} // namespace

Program::Program(const std::vector<std::string>& words, At at, const std::string& input) {
    m_folder = (std::filesystem::temp_directory_path() / "hearthd-program-XXXXXX").string();
    if (mkdtemp(m_folder.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + m_folder);
    }
    std::ofstream(m_folder + "/in") << input;
    std::vector<std::string> copies = words;
    std::vector<char*> pointers;
    for (std::string& word : copies) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    const winsize size{24, 80, 0, 0};
    const std::string in = m_folder + "/in";
    const std::string out = m_folder + "/out";
    const std::string err = m_folder + "/err";
    // The child allocates nothing: another thread may have the allocator's lock.
    m_pid = at == At::TERMINAL ? forkpty(&m_terminal, nullptr, nullptr, &size) : fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (at == At::FILES) {
            Redirect(in.c_str(), O_RDONLY, STDIN_FILENO);
            Redirect(out.c_str(), O_WRONLY | O_CREAT, STDOUT_FILENO);
            Redirect(err.c_str(), O_WRONLY | O_CREAT, STDERR_FILENO);
        }
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    if (m_terminal >= 0) {
        fcntl(m_terminal, F_SETFL, O_NONBLOCK);
    }
}

Program::~Program() {
    if (!HasEnded()) {
        kill(m_pid, SIGTERM); // some have something to clear away
        if (!WaitUntil([this] { return HasEnded(); }, std::chrono::seconds(5))) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    if (m_terminal >= 0) {
        close(m_terminal);
    }
    std::filesystem::remove_all(m_folder);
}

// A program that fills the terminal waits until somebody reads, so looking for the end reads too.
bool Program::HasEnded() {
    ReadTerminal();
    int status = 0;
    if (!m_ended && waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_ended = true;
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        ReadTerminal();
    }
    return m_ended;
}

int Program::Wait() {
    if (!WaitUntil([this] { return HasEnded(); }, std::chrono::seconds(60))) {
        throw std::runtime_error("the program doesn't end");
    }
    return m_status;
}

void Program::Signal(int signal) const {
    kill(m_pid, signal);
}

void Program::Type(const std::string& keys) const {
    if (write(m_terminal, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        throw std::runtime_error("cannot type");
    }
}

bool Program::WaitForOutput(const std::string& text) {
    return WaitUntil([&] { return Output().find(text) != std::string::npos; });
}

std::string Program::Output() {
    if (m_terminal < 0) {
        return ReadFile(m_folder + "/out");
    }
    ReadTerminal();
    std::string text = m_screen;
    for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at)) {
        text.erase(at, 1);
    }
    return text;
}

std::string Program::Errors() const {
    return ReadFile(m_folder + "/err");
}

void Program::ReadTerminal() {
    if (m_terminal < 0) {
        return;
    }
    std::array<char, 4096> block{};
    ssize_t size = 0;
    while ((size = read(m_terminal, block.data(), block.size())) > 0) {
        m_screen.append(block.data(), static_cast<std::size_t>(size));
    }
}

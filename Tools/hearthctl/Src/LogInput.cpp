// SPDX-License-Identifier: Apache-2.0
#include "LogInput.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "Failure.h"

namespace hearthctl {

using marrow::base::FileDescriptor;

namespace {

constexpr std::size_t LONGEST_LINE = 1024UL * 1024; // the daemon's own are shorter by far
constexpr std::chrono::milliseconds FILE_INTERVAL{100};

// With process ids, and times that no setting of the clock changes.
constexpr std::array WHOLE{"journalctl", "--unit=hearthd", "--boot", "--output=short-monotonic",
                           "--all",      "--no-pager"};
constexpr std::array FOLLOWED{"journalctl", "--unit=hearthd", "--follow",
                              "--lines=0",  "--output=cat",   "--all"};

[[noreturn]] void FailToRead(const std::string& name) {
    throw Failure(ExitStatus::USAGE, "cannot read " + name + ": " + strerror(errno));
}

template <std::size_t COUNT>
pid_t Spawn(const std::array<const char*, COUNT>& words, int output) {
    std::array<char*, COUNT + 1> pointers{};
    std::transform(words.begin(), words.end(), pointers.begin(),
                   [](const char* word) { return const_cast<char*>(word); });
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t process = -1;
    const int error =
        posix_spawnp(&process, words.front(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw Failure(ExitStatus::FAILED, std::string("cannot run journalctl: ") + strerror(error) +
                                              "; a FILE with the daemon's log does as well");
    }
    return process;
}

bool IsSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

LogInput::LogInput(const std::string& file, Mode mode) : m_file(file) {
    if (file.empty()) {
        RunJournalctl(mode);
        return;
    }
    m_input =
        FileDescriptor(file == "-" ? dup(STDIN_FILENO) : open(file.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (m_input.Number() < 0 || fstat(m_input.Number(), &status) != 0) {
        FailToRead(Name());
    }
    if (mode == Mode::FOLLOWING && file != "-" && S_ISREG(status.st_mode)) {
        m_followsFile = true;
        lseek(m_input.Number(), 0, SEEK_END);
    }
}

LogInput::~LogInput() {
    if (m_journalctl > 0) {
        kill(m_journalctl, SIGTERM);
        waitpid(m_journalctl, nullptr, 0);
    }
}

void LogInput::ReadAll(const OnLine& onLine) {
    while (ReadSome(onLine)) {
    }
    if (!m_rest.empty()) {
        onLine(m_rest);
    }
    WaitForJournalctl();
}

LogInput::Result LogInput::ReadUntil(Clock::time_point deadline, int signals,
                                     const OnLine& onLine) {
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return Result::TIME_IS_OVER;
        }
        const bool readsFile = m_followsFile && ReadSome(onLine);
        const auto wait = readsFile       ? std::chrono::milliseconds(0)
                          : m_followsFile ? std::min(left, FILE_INTERVAL)
                                          : left;
        std::array<pollfd, 2> events{
            {{signals, POLLIN, 0}, {m_followsFile ? -1 : m_input.Number(), POLLIN, 0}}};
        poll(events.data(), events.size(), static_cast<int>(wait.count()));
        if (events[0].revents != 0) {
            return Result::SIGNAL;
        }
        if (events[1].revents != 0 && !ReadSome(onLine)) {
            WaitForJournalctl();
            return Result::INPUT_HAS_ENDED;
        }
    }
}

std::string LogInput::Name() const {
    return m_file.empty() ? "the journal" : m_file == "-" ? "standard input" : m_file;
}

void LogInput::RunJournalctl(Mode mode) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        FailToRead("a pipe");
    }
    m_input = FileDescriptor(ends[0]);
    const FileDescriptor writing(ends[1]);
    m_journalctl = mode == Mode::FOLLOWING ? Spawn(FOLLOWED, writing.Number())
                                           : Spawn(WHOLE, writing.Number());
}

// False at the end, which a followed file may leave behind again.
bool LogInput::ReadSome(const OnLine& onLine) {
    std::array<char, 64 * 1024> block{};
    ssize_t count = 0;
    do {
        count = read(m_input.Number(), block.data(), block.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        FailToRead(Name());
    }
    if (count == 0) {
        return m_followsFile && FindAgain();
    }
    m_rest.append(block.data(), static_cast<std::size_t>(count));
    CutLines(onLine);
    return true;
}

void LogInput::CutLines(const OnLine& onLine) {
    std::string_view text = m_rest;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        onLine(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    m_rest.erase(0, m_rest.size() - text.size());
    if (m_rest.size() > LONGEST_LINE) {
        m_rest.clear();
    }
}

// A followed file at its end: false where there is nothing new to read.
bool LogInput::FindAgain() {
    struct stat mine {};
    struct stat named {};
    fstat(m_input.Number(), &mine);
    if (stat(m_file.c_str(), &named) == 0 && !IsSame(mine, named)) {
        FileDescriptor other(open(m_file.c_str(), O_RDONLY | O_CLOEXEC));
        if (other.Number() < 0) {
            return false;
        }
        m_rest.clear();
        m_input = std::move(other);
        return true;
    }
    if (mine.st_size < lseek(m_input.Number(), 0, SEEK_CUR)) {
        m_rest.clear();
        lseek(m_input.Number(), 0, SEEK_SET);
        return true;
    }
    return false;
}

// At the end of what it has said, which it may have said on standard error.
void LogInput::WaitForJournalctl() {
    int status = 0;
    if (m_journalctl > 0 && waitpid(m_journalctl, &status, 0) == m_journalctl) {
        m_journalctl = -1;
        if (status != 0) {
            throw Failure(ExitStatus::FAILED, "journalctl has failed; a FILE with the daemon's "
                                              "log does as well");
        }
    }
}

} // namespace hearthctl

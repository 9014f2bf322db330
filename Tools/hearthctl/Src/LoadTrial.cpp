// SPDX-License-Identifier: Apache-2.0

// The loader's answer: a line for each object, which begins with a tab; and for what is wrong a
// line without one, or an object that is "not found".

#include "LoadTrial.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "Demangled.h"
#include "ElfFile.h"
#include "FileDescriptor.h"
#include "Output.h"

namespace hearthctl {

using marrow::base::FileDescriptor;

namespace {

constexpr std::string_view UNDEFINED = "undefined symbol: ";
constexpr std::string_view NOT_FOUND = " => not found";
constexpr std::string_view REFUSED = " cannot be preloaded (";

using Words = std::vector<std::string>;

[[noreturn]] void FailWith(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

std::vector<char*> Pointers(Words& words) {
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// What one variable or another makes the loader do otherwise is left out, but where it looks.
Words TrialEnvironment(const std::string& library) {
    Words environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        if (!text.starts_with("LD_") || text.starts_with("LD_LIBRARY_PATH=")) {
            environment.emplace_back(text);
        }
    }
    environment.insert(environment.end(),
                       {"LD_TRACE_LOADED_OBJECTS=1", "LD_WARN=1", "LD_BIND_NOW=1"});
    if (!library.empty()) {
        environment.push_back("LD_PRELOAD=" + library);
    }
    return environment;
}

pid_t Spawn(Words words, Words environment, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    pid_t process = -1;
    const int error = posix_spawn(&process, words.front().c_str(), &actions, nullptr,
                                  Pointers(words).data(), Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        FailWith(error, "cannot run " + words.front());
    }
    return process;
}

std::string ReadToEnd(const FileDescriptor& file) {
    std::string text;
    std::array<char, 4096> buffer{};
    while (true) {
        const ssize_t count = read(file.Number(), buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return text;
        }
    }
}

// What the loader says, and what it has ended of where that is a signal.
std::string Ask(const Words& words, const Words& environment) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        FailWith(errno, "pipe2");
    }
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    const pid_t process = Spawn(words, environment, writing.Number());
    writing = FileDescriptor();
    std::string answer = ReadToEnd(reading);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        answer += std::string("\nthe loader itself ends by the signal ") +
                  sigabbrev_np(WTERMSIG(status)) + '\n';
    }
    return answer;
}

// The library's part of "undefined symbol: NAME<tab>(OBJECT)".
std::string UnresolvedName(std::string_view line) {
    line.remove_prefix(UNDEFINED.size());
    return Demangled(std::string(line.substr(0, line.find_first_of("\t,"))));
}

// The reason in "ERROR: ld.so: object '...' from LD_PRELOAD cannot be preloaded (REASON): ignored."
std::string Reason(const std::string& line) {
    const std::size_t begin = line.find(REFUSED);
    const std::size_t end = line.rfind("): ignored");
    return begin == std::string::npos || end == std::string::npos
               ? line
               : line.substr(begin + REFUSED.size(), end - begin - REFUSED.size());
}

void AddOnce(Words& words, const std::string& word) {
    if (std::find(words.begin(), words.end(), word) == words.end()) {
        words.push_back(word);
    }
}

// This tool's own loader alone is run, whatever program a foreign file names in its place.
std::string LoaderOf(const std::string& daemon) {
    std::string loader = ElfFile(daemon).Interpreter();
    if (loader != ElfFile("/proc/self/exe").Interpreter()) {
        throw ElfFile::Unusable("isn't loaded by the loader of this machine's programs");
    }
    return loader;
}

} // namespace

LoadTrial::LoadTrial(const std::string& daemon) : m_daemon(daemon), m_loader(LoaderOf(daemon)) {
    try {
        const Result alone = Try("");
        for (const Words& words : {alone.missing, alone.unresolved, alone.others}) {
            if (!words.empty()) {
                throw ElfFile::Unusable("can't be loaded here itself: " + words.front());
            }
        }
    } catch (const std::system_error& error) {
        throw ElfFile::Unusable(std::string("has a loader that doesn't run here: ") + error.what());
    }
}

bool LoadTrial::CanTry(const std::string& library) {
    return library.find_first_of(" \t\n:") == std::string::npos;
}

LoadTrial::Result LoadTrial::Try(const std::string& library) const {
    Result result;
    for (const std::string& line : Lines(Ask({m_loader, m_daemon}, TrialEnvironment(library)))) {
        if (line.starts_with(UNDEFINED)) {
            AddOnce(result.unresolved, UnresolvedName(line));
        } else if (line.ends_with(NOT_FOUND)) {
            AddOnce(result.missing, line.substr(1, line.size() - 1 - NOT_FOUND.size()));
        } else if (!line.empty() && line.front() != '\t') {
            AddOnce(result.others, Reason(line));
        }
    }
    return result;
}

} // namespace hearthctl

// SPDX-License-Identifier: Apache-2.0

// A process that does to the store what its input says, line by line, and answers each line with
// what the call has returned. The answers go to the descriptor that the first argument names.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "CountThreads.h"
#include "FileCalls.h"
#include "Store.h"
#include "StoreDefaults.h"
#include "VConf.h"

namespace {

using Words = std::istringstream;

template <typename Type>
Type Next(Words& words) {
    Type value{};
    words >> value;
    return value;
}

void Answer(int descriptor, const std::string& text) {
    const std::string line = text + "\n";
    if (write(descriptor, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        std::abort();
    }
}

std::string SetInt(Words& words) {
    const auto key = Next<std::string>(words);
    return std::to_string(vconf_set_int(key.c_str(), Next<int>(words)));
}

std::string SetStr(Words& words) {
    const auto key = Next<std::string>(words);
    return std::to_string(vconf_set_str(key.c_str(), Next<std::string>(words).c_str()));
}

std::string GetInt(Words& words) {
    int value = 0;
    return vconf_get_int(Next<std::string>(words).c_str(), &value) == 0 ? std::to_string(value)
                                                                        : "-1";
}

// Sets keys `prefix`0, `prefix`1 and so on, round after round, on several threads at once. Answers
// with the number of failures.
std::string SetMany(Words& words) {
    const auto prefix = Next<std::string>(words);
    const auto threads = Next<int>(words);
    const auto rounds = Next<int>(words);
    std::atomic<int> failures{0};
    std::vector<std::thread> running;
    for (int number = 0; number < threads; ++number) {
        running.emplace_back([&, number] {
            const std::string key = prefix + std::to_string(number);
            for (int round = 1; round <= rounds; ++round) {
                failures += vconf_set_int(key.c_str(), round) != 0 ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : running) {
        thread.join();
    }
    return std::to_string(failures);
}

std::string LimitFileSize(Words& words) {
    std::signal(SIGXFSZ, SIG_IGN);
    const auto size = Next<rlim_t>(words);
    const rlimit limit{size, size};
    return std::to_string(setrlimit(RLIMIT_FSIZE, &limit));
}

std::string BecomeNobody(Words& /*words*/) {
    constexpr unsigned NOBODY = 65534;
    return std::to_string(setgid(NOBODY) != 0 || setuid(NOBODY) != 0 ? -1 : 0);
}

void OnChange(struct _keynode_t* /*node*/, void* /*user*/) {}

void StayForEver(struct _keynode_t* /*node*/, void* user) {
    Answer(*static_cast<int*>(user), "in a callback");
    while (true) {
        pause();
    }
}

// When the process has begun to end, where that is to be soon.
std::chrono::steady_clock::time_point endBegun;

void EndProcess(struct _keynode_t* /*node*/, void* /*user*/) {
    endBegun = std::chrono::steady_clock::now();
    std::exit(7);
}

// The descriptors, its standard ones and the answers' aside, that a program which it executes would
// have as well.
std::string Inherited(Words& /*words*/) {
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // that of the folder itself
        const std::string file = std::filesystem::read_symlink(entry.path(), gone).string();
        const int flags = fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
        const bool isOurs = file.find("vconf.db") != std::string::npos ||
                            file.find("inotify") != std::string::npos ||
                            file.find("eventfd") != std::string::npos;
        if (!gone && isOurs && (flags & FD_CLOEXEC) == 0) {
            names += file + " ";
        }
    }
    return names;
}

bool isForkedChild = false;

// Forks a child that does nothing but end.
std::string ForkAndExit(Words& /*words*/) {
    const pid_t child = fork();
    if (child == 0) {
        isForkedChild = true;
        endBegun = std::chrono::steady_clock::now();
        std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0 ? "at once" : "late";
}

} // namespace

// LeakSanitizer asks it at the end of each process. A forked child doesn't look for leaks: that
// takes the sanitizer's own lock around the allocator, and a thread that the child doesn't have
// may have held it in the moment of the fork.
// NOLINTNEXTLINE(bugprone-reserved-identifier): LeakSanitizer's name
extern "C" [[gnu::visibility("default")]] int __lsan_is_turned_off() {
    return isForkedChild ? 1 : 0;
}

namespace {

std::string List(Words& words) {
    vconf::Store store(vconf::DatabasePath(), vconf::BootId());
    std::string names;
    for (const vconf::StoredKey& key : store.List(Next<std::string>(words))) {
        names += key.name + " ";
    }
    return names;
}

std::string atExitKey;
int atExitAnswers = -1;

// Registered ahead of the library's first use, and so called behind its end.
void SetAtExit() {
    constexpr int LATE = 99;
    if (endBegun != std::chrono::steady_clock::time_point() &&
        std::chrono::steady_clock::now() - endBegun > std::chrono::seconds(1)) {
        _exit(LATE);
    }
    if (!atExitKey.empty()) {
        const int set = vconf_set_int(atExitKey.c_str(), 1);
        const int added = vconf_notify_key_changed("db/late", OnChange, nullptr);
        Answer(atExitAnswers, "set " + std::to_string(set) + ", add " + std::to_string(added) +
                                  ", threads " + std::to_string(CountThreads("vconf-watch")));
    }
}

} // namespace

int main(int /*count*/, char** words) {
    static int answers = std::atoi(words[1]); // callbacks use it
    atExitAnswers = answers;
    std::atexit(SetAtExit);
    const std::map<std::string, std::function<std::string(Words&)>> commands{
        {"set_int", SetInt},
        {"set_str", SetStr},
        {"get_int", GetInt},
        {"set_many", SetMany},
        {"unset",
         [](Words& line) { return std::to_string(vconf_unset(Next<std::string>(line).c_str())); }},
        {"sync",
         [](Words& line) {
             return std::to_string(vconf_sync_key(Next<std::string>(line).c_str()));
         }},
        {"watch",
         [](Words& line) {
             return std::to_string(
                 vconf_notify_key_changed(Next<std::string>(line).c_str(), OnChange, nullptr));
         }},
        {"stay_in_callback",
         [](Words& line) {
             return std::to_string(
                 vconf_notify_key_changed(Next<std::string>(line).c_str(), StayForEver, &answers));
         }},
        {"exit_in_callback",
         [](Words& line) {
             return std::to_string(
                 vconf_notify_key_changed(Next<std::string>(line).c_str(), EndProcess, nullptr));
         }},
        {"set_at_exit",
         [](Words& line) {
             atExitKey = Next<std::string>(line);
             return std::to_string(vconf_notify_key_changed(atExitKey.c_str(), OnChange, nullptr));
         }},
        {"fork_and_exit", ForkAndExit},
        {"inherited", Inherited},
        {"list", List},
        {"limit_file_size", LimitFileSize},
        {"become_nobody", BecomeNobody},
        {"die_at_write",
         [](Words& line) {
             filecalls::DieAtWrite(Next<std::string>(line));
             return std::string("0");
         }},
    };
    std::string line;
    while (std::getline(std::cin, line)) {
        Words rest(line);
        Answer(answers, commands.at(Next<std::string>(rest))(rest));
    }
    return 0;
}

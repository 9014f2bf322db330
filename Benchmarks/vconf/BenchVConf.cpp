// SPDX-License-Identifier: Apache-2.0

// How soon another process knows of a value that is set, and how many values can be set in a
// second, with and without waiting for the disk: the library, beside a file that is renamed, and
// beside bare SQLite.
//
// For the first, a process sets the time at which it does so, and this one takes the time at which
// it is told of it; the next set comes when the last has been told.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "KeepingWays.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int NOTICES = 500; // in a round
constexpr int SETS = 2000;
constexpr int SYNCS = 50;

long long Now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

std::unique_ptr<KeepingWay> Make(const std::string& name, const std::string& folder) {
    if (name == "library") {
        return MakeStoreWay(folder);
    }
    return name == "file" ? MakeFileWay(folder) : MakeSqliteWay(folder);
}

// The other process: sets the time for each byte that it reads.
int SetForEachByte(const std::string& name, const std::string& folder) {
    const std::unique_ptr<KeepingWay> way = Make(name, folder);
    for (char byte = 0; read(STDIN_FILENO, &byte, 1) == 1;) {
        way->Set(std::to_string(Now()));
    }
    return 0;
}

class OtherProcess {
public:
    OtherProcess(const char* name, const std::string& folder) {
        std::array<int, 2> pipe{};
        if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[0], STDIN_FILENO);
        std::array<std::string, 4> words{"bench-vconf", "--set", name, folder};
        std::array<char*, 5> arguments{words[0].data(), words[1].data(), words[2].data(),
                                       words[3].data(), nullptr};
        const int failed =
            posix_spawn(&m_pid, "/proc/self/exe", &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(pipe[0]);
        m_input = pipe[1];
        if (failed != 0) {
            throw std::runtime_error("no process");
        }
    }
    ~OtherProcess() {
        close(m_input);
        waitpid(m_pid, nullptr, 0);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    void Set() const {
        if (write(m_input, "x", 1) != 1) {
            throw std::runtime_error("the other process is gone");
        }
    }

private:
    pid_t m_pid = -1;
    int m_input = -1;
};

// Microseconds from each set to its notice.
std::vector<double> Notices(const char* name, const std::string& folder) {
    std::array<int, 2> told{};
    if (pipe2(told.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    const std::unique_ptr<KeepingWay> way = Make(name, folder);
    way->Watch([&told](const std::string& value) {
        const long long taken = Now() - std::atoll(value.c_str());
        [[maybe_unused]] const ssize_t size = write(told[1], &taken, sizeof(taken));
    });
    const OtherProcess other(name, folder);
    std::vector<double> times;
    for (int count = 0; count < NOTICES; ++count) {
        other.Set();
        long long taken = 0;
        if (read(told[0], &taken, sizeof(taken)) != sizeof(taken)) {
            throw std::runtime_error("no notice");
        }
        if (count >= 10) { // the first ones open things
            times.push_back(static_cast<double>(taken) / 1000);
        }
    }
    return times;
}

// In a second.
template <typename Work>
double Rate(int count, const Work& work) {
    const Clock::time_point begin = Clock::now();
    for (int number = 0; number < count; ++number) {
        work(std::to_string(number));
    }
    return count / std::chrono::duration<double>(Clock::now() - begin).count();
}

double At(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    const auto at = static_cast<std::size_t>(share * static_cast<double>(values.size()));
    return values[std::min(at, values.size() - 1)];
}

struct Figures {
    std::vector<double> notices;
    std::vector<double> sets;
    std::vector<double> syncs;
};

void Measure(const char* name, const std::string& folder, Figures& figures) {
    if (std::strcmp(name, "sqlite") != 0) {
        const std::vector<double> times = Notices(name, folder);
        figures.notices.insert(figures.notices.end(), times.begin(), times.end());
    }
    const std::unique_ptr<KeepingWay> way = Make(name, folder);
    way->Set("0");
    way->SetAndSync("0"); // nothing of the round before is left to be written
    figures.sets.push_back(Rate(SETS, [&](const std::string& value) { way->Set(value); }));
    figures.syncs.push_back(Rate(SYNCS, [&](const std::string& value) { way->SetAndSync(value); }));
}

void Print(const char* name, const Figures& figures, const Figures& library) {
    std::printf("%-8s", name);
    if (!figures.notices.empty()) {
        std::printf(" told after %6.1f us, 99th %7.1f us (x%.2f);", At(figures.notices, 0.5),
                    At(figures.notices, 0.99), At(figures.notices, 0.5) / At(library.notices, 0.5));
    }
    std::printf(" %.0f sets/s (x%.2f); %.0f sets/s on the disk (x%.2f)\n", At(figures.sets, 0.5),
                At(figures.sets, 0.5) / At(library.sets, 0.5), At(figures.syncs, 0.5),
                At(figures.syncs, 0.5) / At(library.syncs, 0.5));
}

} // namespace

int main(int count, char** words) {
    try {
        if (count == 4 && std::strcmp(words[1], "--set") == 0) {
            return SetForEachByte(words[2], words[3]);
        }
        const int rounds = count > 1 ? std::max(1, std::atoi(words[1])) : 9;
        std::string folder = count > 2 ? words[2] : "/var/tmp";
        folder += "/bench-vconf-XXXXXX";
        if (mkdtemp(folder.data()) == nullptr) {
            throw std::runtime_error("no folder " + folder);
        }
        const std::array<const char*, 3> names{"library", "file", "sqlite"};
        std::array<Figures, 3> figures;
        // Interleaved, so that a noisy minute meets them all.
        for (int round = 0; round < rounds; ++round) {
            for (std::size_t at = 0; at < names.size(); ++at) {
                Measure(names[at], folder, figures[at]);
            }
        }
        for (std::size_t at = 0; at < names.size(); ++at) {
            Print(names[at], figures[at], figures[0]);
        }
        std::filesystem::remove_all(folder);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench-vconf: %s\n", error.what());
        return 1;
    }
}

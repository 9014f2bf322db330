// SPDX-License-Identifier: Apache-2.0

// Measures calls to several servers on one bus, in turn, round by round, and prints for each load
// the median of each server's figures over the rounds and its ratio to the first server.
//
//     bench-call [OPTION VALUE]... ROUNDS LABEL=BUS-NAME...
//
//     --size 'SIZE', --mode 'MODE'    this one alone
//     --calls CALLS                   so many in each round, of all clients together, and none to
//                                     warm up
//     --goal 'LABEL/LABEL=RATIO'      the ratio of these two for each load, after the table; it is
//                                     meant to be RATIO at least

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "CallLoad.h"
#include "Measuring.h"
#include "Payload.h"

namespace {

struct Server {
    std::string label;
    std::string name;
};

struct Mode {
    const char* label;
    int processes;
    int window;
};

struct Size {
    const char* label;
    std::size_t bytes;
    int calls; // of all processes together, in one round
};

constexpr Mode MODES[] = {{"serial", 1, 1}, {"32 in flight", 1, 32}, {"8 clients", 8, 1}};
constexpr Size SIZES[] = {{"100 B", 100, 8000}, {"4 KiB", 4096, 4000}, {"64 KiB", 65536, 400}};

struct Goal {
    std::string ours;
    std::string theirs;
    double ratio = 0;
};

// What stands on the command line.
struct Wish {
    std::string size;
    std::string mode;
    int calls = 0; // as many as the size has it
    Goal goal;
    int rounds = 0;
    std::vector<Server> servers;
};

struct Figures {
    std::vector<double> rates, p50, p90, p99;

    void Add(const CallResult& result) {
        const auto at = [&](double part) {
            return result.latencies[static_cast<std::size_t>(
                part * static_cast<double>(result.latencies.size() - 1))];
        };
        rates.push_back(result.callsPerSecond);
        p50.push_back(at(0.50));
        p90.push_back(at(0.90));
        p99.push_back(at(0.99));
    }
};

// The ratio of each round, and then the median: noise that lasts hits all servers alike.
double RateRatio(const Figures& ours, const Figures& theirs) {
    std::vector<double> ratios;
    for (std::size_t round = 0; round < ours.rates.size(); ++round) {
        ratios.push_back(ours.rates[round] / theirs.rates[round]);
    }
    return MedianOf(ratios);
}

std::vector<Figures> Measure(const Wish& wish, const Size& size, const Mode& mode) {
    std::vector<Figures> figures(wish.servers.size());
    CallLoad load;
    load.payload = MakePayload(size.bytes);
    load.processes = mode.processes;
    load.window = mode.window;
    load.calls = std::max(1, (wish.calls > 0 ? wish.calls : size.calls) / mode.processes);
    // The first one warms up, unless calls are counted.
    for (int round = wish.calls > 0 ? 0 : -1; round < wish.rounds; ++round) {
        for (std::size_t i = 0; i < wish.servers.size(); ++i) {
            load.destination = wish.servers[i].name;
            const CallResult result = RunLoad(load);
            if (round >= 0) {
                figures[i].Add(result);
            }
        }
    }
    return figures;
}

void Print(const Wish& wish, const Size& size, const Mode& mode,
           const std::vector<Figures>& figures) {
    for (std::size_t i = 0; i < figures.size(); ++i) {
        std::printf("%-7s %-13s %-16s %9.0f %9.1f %9.1f %9.1f   %.2f\n", size.label, mode.label,
                    wish.servers[i].label.c_str(), MedianOf(figures[i].rates),
                    MedianOf(figures[i].p50), MedianOf(figures[i].p90), MedianOf(figures[i].p99),
                    RateRatio(figures[i], figures[0]));
    }
    std::fflush(stdout);
}

// The number of servers where none is called so.
std::size_t IndexOf(const std::vector<Server>& servers, const std::string& label) {
    const auto found = std::find_if(servers.begin(), servers.end(),
                                    [&](const Server& server) { return server.label == label; });
    return static_cast<std::size_t>(found - servers.begin());
}

std::string Compare(const Wish& wish, const Size& size, const Mode& mode,
                    const std::vector<Figures>& figures) {
    const Goal& goal = wish.goal;
    const double ratio = RateRatio(figures[IndexOf(wish.servers, goal.ours)],
                                   figures[IndexOf(wish.servers, goal.theirs)]);
    char line[200];
    std::snprintf(line, sizeof(line), "%-7s %-13s %s / %s: %.2f, goal %.2f%s\n", size.label,
                  mode.label, goal.ours.c_str(), goal.theirs.c_str(), ratio, goal.ratio,
                  ratio < goal.ratio ? ", missed" : "");
    return line;
}

void Run(const Wish& wish) {
    std::printf("%-7s %-13s %-16s %9s %9s %9s %9s   %s\n", "payload", "mode", "server", "calls/s",
                "p50 us", "p90 us", "p99 us", "ratio");
    std::string comparisons;
    for (const Size& size : SIZES) {
        for (const Mode& mode : MODES) {
            if ((wish.size.empty() || wish.size == size.label) &&
                (wish.mode.empty() || wish.mode == mode.label)) {
                const std::vector<Figures> figures = Measure(wish, size, mode);
                Print(wish, size, mode, figures);
                if (!wish.goal.ours.empty()) {
                    comparisons += Compare(wish, size, mode, figures);
                }
            }
        }
    }
    std::fputs(comparisons.c_str(), stdout);
}

bool ReadGoal(const std::string& text, Goal& goal) {
    const std::size_t slash = text.find('/');
    const std::size_t equals = text.rfind('=');
    if (slash == std::string::npos || equals == std::string::npos || equals < slash) {
        return false;
    }
    goal.ours = text.substr(0, slash);
    goal.theirs = text.substr(slash + 1, equals - slash - 1);
    goal.ratio = std::atof(text.c_str() + equals + 1);
    return true;
}

bool ReadOption(const std::string& option, const char* value, Wish& wish) {
    if (option == "--size") {
        wish.size = value;
    } else if (option == "--mode") {
        wish.mode = value;
    } else if (option == "--calls") {
        wish.calls = std::atoi(value);
        return wish.calls > 0;
    } else {
        return option == "--goal" && ReadGoal(value, wish.goal);
    }
    return true;
}

bool ReadArguments(int count, char** arguments, Wish& wish) {
    int next = 1;
    for (; next + 1 < count && arguments[next][0] == '-'; next += 2) {
        if (!ReadOption(arguments[next], arguments[next + 1], wish)) {
            return false;
        }
    }
    wish.rounds = next < count ? std::atoi(arguments[next]) : 0;
    for (int i = next + 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const std::size_t equals = argument.find('=');
        wish.servers.push_back({argument.substr(0, equals), argument.substr(equals + 1)});
    }
    const auto isMeasured = [&](const std::string& label) {
        return IndexOf(wish.servers, label) < wish.servers.size();
    };
    return wish.rounds > 0 && !wish.servers.empty() &&
           (wish.goal.ours.empty() || (isMeasured(wish.goal.ours) && isMeasured(wish.goal.theirs)));
}

} // namespace

int main(int count, char** arguments) {
    Wish wish;
    if (!ReadArguments(count, arguments, wish)) {
        std::fprintf(stderr, "usage: bench-call [--size SIZE] [--mode MODE] [--calls CALLS] "
                             "[--goal LABEL/LABEL=RATIO] ROUNDS LABEL=BUS-NAME...\n");
        return 2;
    }
    Run(wish);
}

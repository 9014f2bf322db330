// SPDX-License-Identifier: Apache-2.0

// Measures calls to several servers on one bus, in turn, round by round, and prints for each load
// the median of each server's figures over the rounds and its ratio to the first server.
//
//     bench-call [--size 'SIZE'] [--mode 'MODE'] ROUNDS LABEL=BUS-NAME...

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "CallLoad.h"
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

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

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

void Measure(const std::vector<Server>& servers, const Size& size, const Mode& mode, int rounds) {
    std::vector<Figures> figures(servers.size());
    CallLoad load;
    load.payload = MakePayload(size.bytes);
    load.processes = mode.processes;
    load.window = mode.window;
    load.calls = size.calls / mode.processes;
    for (int round = -1; round < rounds; ++round) { // the first one warms up
        for (std::size_t i = 0; i < servers.size(); ++i) {
            load.destination = servers[i].name;
            const CallResult result = RunLoad(load);
            if (round >= 0) {
                figures[i].Add(result);
            }
        }
    }
    for (std::size_t i = 0; i < servers.size(); ++i) {
        // The ratio of each round, and then the median: noise that lasts hits all servers alike.
        std::vector<double> ratios;
        for (std::size_t round = 0; round < figures[i].rates.size(); ++round) {
            ratios.push_back(figures[i].rates[round] / figures[0].rates[round]);
        }
        std::printf("%-7s %-13s %-10s %9.0f %9.1f %9.1f %9.1f   %.2f\n", size.label, mode.label,
                    servers[i].label.c_str(), Median(figures[i].rates), Median(figures[i].p50),
                    Median(figures[i].p90), Median(figures[i].p99), Median(ratios));
        std::fflush(stdout);
    }
}

} // namespace

int main(int count, char** arguments) {
    std::string onlySize;
    std::string onlyMode;
    int next = 1;
    for (; next + 1 < count && arguments[next][0] == '-'; next += 2) {
        const std::string option = arguments[next];
        (option == "--size" ? onlySize : onlyMode) = arguments[next + 1];
    }
    const int rounds = next < count ? std::atoi(arguments[next]) : 0;
    std::vector<Server> servers;
    for (int i = next + 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const std::size_t equals = argument.find('=');
        servers.push_back({argument.substr(0, equals), argument.substr(equals + 1)});
    }
    if (rounds < 1 || servers.empty()) {
        std::fprintf(stderr, "usage: bench-call [--size 'SIZE'] [--mode 'MODE'] ROUNDS "
                             "LABEL=BUS-NAME...\n");
        return 2;
    }
    std::printf("%-7s %-13s %-10s %9s %9s %9s %9s   %s\n", "payload", "mode", "server", "calls/s",
                "p50 us", "p90 us", "p99 us", "ratio");
    for (const Size& size : SIZES) {
        for (const Mode& mode : MODES) {
            if ((onlySize.empty() || onlySize == size.label) &&
                (onlyMode.empty() || onlyMode == mode.label)) {
                Measure(servers, size, mode, rounds);
            }
        }
    }
}

// SPDX-License-Identifier: Apache-2.0

// Nanoseconds of processor time for the two things on a call's road that grow with a number: the
// manager's walk to the last of its services, and the router's table of pending messages. The
// daemon's own classes, each number in turn, round by round; medians over the rounds.
//
//     bench-walk [ROUNDS]
//
// Wants a bus, and a private view, where it writes its manifests. run-benchmark drives it.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "KeptWorker.h"
#include "Measuring.h"
#include "MessageRouter.h"
#include "ModuleInterface.h"
#include "ServiceManager.h"

namespace {

using Quill::TCMessage;

constexpr unsigned STEPS = 200000; // services passed in a round
constexpr unsigned MESSAGES = 20000;
constexpr const char* SENDER = "marrow.ser.client.PID_12345";
constexpr const char* SIGNAL = "signal"; // has no reply, whose making would be measured as well

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "bench-walk: %s\n", what);
    std::exit(1);
}

// What costs something for a number of things, with a median for each number.
class Series {
public:
    Series(const char* what, std::size_t number) : m_what(what), m_number(number) {}

    void Add(double nanoseconds) { m_nanoseconds.push_back(nanoseconds); }
    double Median() const { return MedianOf(m_nanoseconds); }
    void Print(const Series& first) const {
        std::printf("%-22s %5zu: %8.1f ns, %.2f times that of %zu\n", m_what, m_number, Median(),
                    Median() / first.Median(), first.m_number);
    }

private:
    const char* m_what;
    std::size_t m_number;
    std::vector<double> m_nanoseconds;
};

// A manager of so many services, none of which is ever started.
class Walk {
public:
    Walk(const char* what, const std::string& prefix, unsigned services)
        : series(what, services), m_last(prefix + std::to_string(services - 1)),
          m_rounds(STEPS / services), m_manager(Declare(prefix, services)) {
        if (m_manager.GetServiceByName(m_last) == nullptr) {
            Fail("the manager doesn't know its services; is this a private view?");
        }
    }

    void Measure() {
        std::size_t found = 0;
        const double begin = ProcessorNanoseconds();
        for (unsigned i = 0; i < m_rounds; ++i) {
            found += m_manager.GetServiceByName(m_last) != nullptr ? 1 : 0;
        }
        series.Add((ProcessorNanoseconds() - begin) / static_cast<double>(found));
    }

    Series series;

private:
    // The manager reads what has been declared. Its order is that of priority, the least one last.
    static ServiceManager Declare(const std::string& prefix, unsigned services) {
        std::filesystem::create_directories(ServiceManager::SERVICE_MANIFEST_DIR_PATH);
        const std::string path = ServiceManager::SERVICE_MANIFEST_DIR_PATH + "/walk.json";
        std::ofstream file(path);
        for (unsigned i = 0; i < services; ++i) {
            file << (i == 0 ? "{" : ",") << '"' << prefix << i
                 << R"(": {"launch_type": 1, "priority": )" << (i + 1 < services ? 1 : 0) << "}";
        }
        file << "}";
        file.close();
        ServiceManager manager;
        std::filesystem::remove(path);
        return manager;
    }

    std::string m_last;
    unsigned m_rounds;
    ServiceManager m_manager;
};

// Messages that are pending all the while: each is received and at once transferred again. They are
// for a service that nobody knows, of which there are none.
class Pending {
public:
    Pending(marrow::msg::MessageRouter& router, std::size_t messages)
        : series("pending", messages), m_router(router), m_messages(messages) {
        for (TCMessage& message : m_messages) {
            message.subject = "nobody";
        }
    }

    void Measure() {
        for (const TCMessage& message : m_messages) {
            Transfer(message);
        }
        const double begin = ProcessorNanoseconds();
        std::size_t next = 0;
        for (unsigned i = 0; i < MESSAGES; ++i) {
            next = (next + STRIDE) % m_messages.size();
            Receive(m_messages[next]);
            Transfer(m_messages[next]);
        }
        series.Add((ProcessorNanoseconds() - begin) / MESSAGES);
        for (const TCMessage& message : m_messages) {
            Receive(message);
        }
    }

    Series series;

private:
    static constexpr std::size_t STRIDE = 617; // comes by every message, in no order of the table

    void Transfer(const TCMessage& message) {
        Quill::TCEventIO* target = nullptr;
        m_router.IfTransferMessage(SENDER, &message, target);
    }
    void Receive(const TCMessage& message) {
        m_router.IfMessageReceived(SENDER, &message, nullptr, SIGNAL);
    }

    marrow::msg::MessageRouter& m_router;
    std::deque<TCMessage> m_messages;
};

template <typename Measured>
void Print(const std::deque<Measured>& all) {
    for (const Measured& one : all) {
        one.series.Print(all.front().series);
    }
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 9;
    // Each manager queues a job on this worker, which is made only once as long as it is kept.
    KeepWorker("Init");
    // The first message makes this one, which finds no manifest: it has no services.
    ModuleInterface<marrow::mgr::IServiceManager>::AddImpl(&ServiceManager::CLASS);
    auto* const router = new marrow::msg::MessageRouter;
    std::deque<Pending> pending;
    for (const std::size_t messages : {1U, 100U, 1000U}) {
        pending.emplace_back(*router, messages).Measure();
    }
    std::deque<Walk> shortNames;
    std::deque<Walk> longNames;
    for (const unsigned services : {1U, 16U, 64U, 256U}) {
        shortNames.emplace_back("services, short names", "s", services);
        longNames.emplace_back("services, long names", "org.norvane.some-service.", services);
    }
    for (int round = 0; round < rounds; ++round) {
        for (Pending& one : pending) {
            one.Measure();
        }
        for (std::deque<Walk>* walks : {&shortNames, &longNames}) {
            for (Walk& one : *walks) {
                one.Measure();
            }
        }
    }
    std::printf("The manager's way to its last service, the copy of each name included\n");
    Print(shortNames);
    Print(longNames);
    std::printf("A message in and out of the router, with its log lines off, among others\n");
    Print(pending);
    std::fflush(stdout);
    std::_Exit(0); // workers of the daemon's classes still run
}

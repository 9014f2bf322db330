// SPDX-License-Identifier: Apache-2.0
#include "MonitorVerb.h"

#include <csignal>
#include <iostream>
#include <set>
#include <unistd.h>

#include <hearthd/HearthClient.h>

#include "Output.h"

namespace hearthctl {

namespace {

// The listeners', which are called on one thread. The main thread waits for a signal, from outside
// or from the callback; it is blocked in every thread, so that none is interrupted by it.
struct Output {
    const bool json;
    const int count; // 0: without end
    int printed = 0;
};

void Print(Output& output, const hearthd::Notification& notification) {
    if (output.count > 0 && output.printed == output.count) {
        return; // the main thread is about to end this
    }
    if (output.json) {
        Json::Value line;
        line["time"] = TimeOfDay();
        line["subject"] = notification.subject;
        line["payload"] = notification.payload;
        std::cout << CompactJson(line) << std::endl;
    } else {
        std::cout << TimeOfDay() << "  " << Printable(notification.subject) << "  "
                  << CompactJson(notification.payload) << std::endl;
    }
    if (++output.printed == output.count) {
        kill(getpid(), SIGTERM);
    }
}

} // namespace

ExitStatus Monitor(const std::vector<std::string>& subjects, int count, bool json) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    Output output{json, count};
    hearthd::Client client;
    client.RequireDaemon();
    const auto print = [&output](const hearthd::Notification& notification) {
        Print(output, notification);
    };
    std::vector<hearthd::Subscription> subscriptions;
    subscriptions.reserve(subjects.size() + 1);
    for (const std::string& subject : std::set(subjects.begin(), subjects.end())) {
        subscriptions.push_back(client.Listen(subject, print));
    }
    if (subjects.empty()) {
        subscriptions.push_back(client.ListenToAll(print));
    }
    int signal = 0;
    sigwait(&ending, &signal);
    return ExitStatus::OK;
}

} // namespace hearthctl

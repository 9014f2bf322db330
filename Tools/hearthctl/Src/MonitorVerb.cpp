// SPDX-License-Identifier: Apache-2.0
#include "MonitorVerb.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <unistd.h>

#include "Client.h"
#include "Output.h"

namespace hearthctl {

namespace {

// The callback's, on the one dispatching thread. The main thread waits for a signal, from outside
// or from the callback; it is blocked in every thread, so that none is interrupted by it.
struct Output {
    const bool json;
    const int count; // 0: without end
    int printed = 0;
};

// The time of day here, with milliseconds and the offset from UTC (ISO 8601).
std::string Now() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const std::time_t seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 32> date{};
    std::array<char, 8> zone{};
    std::array<char, 48> text{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(zone.data(), zone.size(), "%z", &local);
    std::snprintf(text.data(), text.size(), "%s.%03d%s", date.data(),
                  static_cast<int>(milliseconds % 1000), zone.data());
    return text.data();
}

void OnNotification(const char* /*sender*/, const char* /*signal*/, Quill::TCMessage* message,
                    void* userData) {
    Output& output = *static_cast<Output*>(userData);
    if (output.count > 0 && output.printed == output.count) {
        return; // the main thread is about to end this
    }
    if (output.json) {
        Json::Value line;
        line["time"] = Now();
        line["subject"] = message->subject;
        line["payload"] = message->payload;
        std::cout << CompactJson(line) << std::endl;
    } else {
        std::cout << Now() << "  " << Printable(message->subject) << "  "
                  << CompactJson(message->payload) << std::endl;
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
    Client client;
    client.RequireDaemon();
    const std::string everything = Client::ROUTER_SIGNAL;
    bool subscribed = true;
    for (const std::string& subject : subjects) {
        subscribed =
            subscribed && client.SubscribeSignal(Client::ROUTER, (everything + subject).c_str(),
                                                 OnNotification, &output);
    }
    if (subjects.empty()) {
        subscribed =
            client.SubscribeSignals(Client::ROUTER, everything.c_str(), OnNotification, &output);
    }
    if (!subscribed) {
        throw Failure(ExitStatus::FAILED, "the bus refuses the subscription");
    }
    int signal = 0;
    sigwait(&ending, &signal);
    client.CloseDBusServer(); // no notification may find the output gone
    return ExitStatus::OK;
}

} // namespace hearthctl

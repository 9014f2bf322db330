// SPDX-License-Identifier: Apache-2.0

// hang-beacon: the deadlock watchdog's device on a PC. Threads write their stacks to it; it keeps
// the last dumps as text files and passes each line on to the log.
//
//     hang-beacon [--device FILE] [--folder FOLDER] [--keep COUNT]

#include <charconv>
#include <csignal>
#include <cstdio>
#include <exception>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

#include <systemd/sd-daemon.h>

#include "BeaconLog.h"
#include "Device.h"
#include "DumpCollector.h"
#include "DumpStore.h"

namespace {

using namespace hang_beacon;

struct Arguments {
    std::string device = "/dev/hang_beacon";
    std::string folder = "/var/lib/hang-beacon";
    std::size_t keep = 50;
};

bool ReadCount(std::string_view text, std::size_t& count) {
    const auto [end, error] = std::from_chars(text.begin(), text.end(), count);
    return error == std::errc() && end == text.end() && count > 0;
}

bool ReadArguments(int count, char** words, Arguments& arguments) {
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string_view name = words[i];
        const std::string_view value = words[i + 1];
        if (name == "--device") {
            arguments.device = value;
        } else if (name == "--folder") {
            arguments.folder = value;
        } else if (name != "--keep" || !ReadCount(value, arguments.keep)) {
            return false;
        }
    }
    return count % 2 == 1;
}

int EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

int MillisecondsTo(std::optional<DumpCollector::Clock::time_point> deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - DumpCollector::Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

void Run(const Arguments& arguments) {
    const int ending = EndSignals(); // ahead of the log's thread
    DumpStore store(arguments.folder, arguments.keep);
    DumpCollector collector([&store](const Dump& dump) {
        const std::string path = store.Add(dump);
        if (!path.empty()) {
            BEACON_LOGI("a dump of process %d (%s), %zu threads, is in %s", dump.process,
                        dump.name.c_str(), dump.threads.size(), path.c_str());
        }
    });
    Device device(arguments.device, collector);
    BEACON_LOGI("%s is there; dumps go to %s", arguments.device.c_str(), arguments.folder.c_str());
    sd_notify(0, "READY=1");
    pollfd waiting[] = {{device.Descriptor(), POLLIN, 0}, {ending, POLLIN, 0}};
    while (true) {
        const int ready = poll(waiting, std::size(waiting), MillisecondsTo(collector.Deadline()));
        if (ready < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (ready > 0 && waiting[1].revents != 0) {
            break;
        }
        if (ready > 0 && waiting[0].revents != 0 && !device.Serve()) {
            BEACON_LOGW("%s has been unmounted", arguments.device.c_str());
            break;
        }
        collector.Tick(DumpCollector::Clock::now());
    }
    collector.Finish();
}

} // namespace

int main(int count, char** words) {
    try {
        Arguments arguments;
        if (!ReadArguments(count, words, arguments)) {
            std::fputs("usage: hang-beacon [--device FILE] [--folder FOLDER] [--keep COUNT]\n",
                       stderr);
            return 2;
        }
        Run(arguments);
        return 0;
    } catch (const std::exception& exception) {
        BEACON_LOGE("%s", exception.what());
        return 1;
    }
}

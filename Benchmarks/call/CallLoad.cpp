// SPDX-License-Identifier: Apache-2.0

// Each process is forked before it connects, waits for the others, and writes the latency of each
// of its calls into memory that it shares with the parent. The rate is all calls over the time from
// the common start to the last end.

#include "CallLoad.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <json/json.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Shared {
    std::atomic<int> ready;
    std::atomic<bool> go;
};

[[noreturn]] void Die(const char* what, const char* why) {
    std::fprintf(stderr, "bench-call: %s: %s\n", what, why);
    std::_Exit(1);
}

void Check(int result, const char* what) {
    if (result < 0) {
        Die(what, strerror(-result));
    }
}

double Microseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

class Client {
public:
    Client(const CallLoad& load, double* latencies) : m_load(load), m_latencies(latencies) {
        Check(sd_bus_open_system(&m_bus), "connect");
        // Servers know clients by names of this form.
        const std::string name = "marrow.ser.client.PID_" + std::to_string(getpid());
        Check(sd_bus_request_name(m_bus, name.c_str(), 0), "name");
        m_started.resize(static_cast<std::size_t>(load.calls));
    }

    ~Client() { sd_bus_flush_close_unref(m_bus); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Run() {
        while (m_sent < m_load.window && m_sent < m_load.calls) {
            Send();
        }
        while (m_answered < m_load.calls) {
            const int result = sd_bus_process(m_bus, nullptr);
            Check(result, "process");
            if (result == 0) {
                Check(sd_bus_wait(m_bus, UINT64_MAX), "wait");
            }
        }
    }

private:
    void Send() {
        sd_bus_message* message = nullptr;
        Check(sd_bus_message_new_method_call(m_bus, &message, m_load.destination.c_str(),
                                             "/quill/endpoint", "quill.Endpoint1", "Call"),
              "new call");
        Check(sd_bus_message_append(message, "ss", "bench", m_load.payload.c_str()), "append");
        m_started[static_cast<std::size_t>(m_sent++)] = Clock::now();
        Check(sd_bus_call_async(m_bus, nullptr, message, OnReply, this, 0), "send");
        sd_bus_message_unref(message);
    }

    // One server answers the calls of one client in their order.
    static int OnReply(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
        auto& client = *static_cast<Client*>(self);
        const auto index = static_cast<std::size_t>(client.m_answered++);
        client.m_latencies[index] = Microseconds(Clock::now() - client.m_started[index]);
        if (const sd_bus_error* error = sd_bus_message_get_error(message); error != nullptr) {
            Die("call failed", error->message);
        }
        const char* subject = nullptr;
        const char* payload = nullptr;
        Check(sd_bus_message_read(message, "ss", &subject, &payload), "read");
        client.CheckReply(payload);
        if (client.m_sent < client.m_load.calls) {
            client.Send();
        }
        return 1;
    }

    // The members of an object may come back in another order, so that the text alone doesn't tell;
    // the first reply is compared as a value, the others by their text.
    void CheckReply(const char* payload) {
        if (m_expected.empty()) {
            Json::Value sent;
            Json::Value received;
            std::string errors;
            const auto parse = [&](const char* text, Json::Value& value) {
                const std::unique_ptr<Json::CharReader> reader(
                    Json::CharReaderBuilder().newCharReader());
                return reader->parse(text, text + strlen(text), &value, &errors);
            };
            if (!parse(m_load.payload.c_str(), sent) || !parse(payload, received) ||
                sent != received) {
                Die("wrong reply", payload);
            }
            m_expected = payload;
        } else if (m_expected != payload) {
            Die("wrong reply", payload);
        }
    }

    const CallLoad& m_load;
    double* const m_latencies;
    sd_bus* m_bus = nullptr;
    std::vector<Clock::time_point> m_started;
    std::string m_expected;
    int m_sent = 0;
    int m_answered = 0;
};

} // namespace

CallResult RunLoad(const CallLoad& load) {
    const auto total =
        static_cast<std::size_t>(load.processes) * static_cast<std::size_t>(load.calls);
    const std::size_t bytes = sizeof(Shared) + total * sizeof(double);
    void* const memory =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        Die("mmap", strerror(errno));
    }
    auto* const shared = new (memory) Shared{};
    auto* const latencies = reinterpret_cast<double*>(shared + 1);

    std::vector<pid_t> children;
    for (int process = 0; process < load.processes; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            {
                Client client(load, latencies + process * load.calls);
                ++shared->ready;
                while (!shared->go) {
                    sched_yield();
                }
                client.Run();
            }
            std::_Exit(0);
        }
        children.push_back(child);
    }
    while (shared->ready < load.processes) {
        if (waitpid(-1, nullptr, WNOHANG) > 0) {
            Die("a client", "ended early");
        }
        usleep(1000);
    }
    const Clock::time_point start = Clock::now();
    shared->go = true;
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0) {
            Die("a client", "failed");
        }
    }
    const double seconds = Microseconds(Clock::now() - start) / 1e6;

    CallResult result;
    result.callsPerSecond = static_cast<double>(total) / seconds;
    result.latencies.assign(latencies, latencies + total);
    std::sort(result.latencies.begin(), result.latencies.end());
    munmap(memory, bytes);
    return result;
}

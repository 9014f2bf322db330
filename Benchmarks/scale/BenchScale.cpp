// SPDX-License-Identifier: Apache-2.0

// Starts a program and tells, in one line, how long it took and what it needs then; or which
// process on the bus is the daemon. Scripts drive it.
//
//     bench-scale daemon FIRST LAST IDLE COMMAND...   until the first answer of the service FIRST
//                                                     and of LAST, in ms; resident KiB; threads;
//                                                     percent of a processor in IDLE seconds
//     bench-scale open COMMAND...                     until it has said "open PID", in ms;
//                                                     resident KiB; threads
//     bench-scale pid                                 the daemon's process id

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <systemd/sd-bus.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* ROUTER = "marrow.ser.server.MessageRouter";
constexpr std::chrono::seconds LIMIT(60);

[[noreturn]] void Die(const std::string& why) {
    std::fprintf(stderr, "bench-scale: %s\n", why.c_str());
    std::exit(1);
}

double Milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// Ends with this object.
class Child {
public:
    // Its standard output is readable behind Output(), or goes nowhere.
    Child(char** command, bool withOutput) {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0) {
            Die("no pipe");
        }
        m_pid = fork();
        if (m_pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            if (!withOutput && std::freopen("/dev/null", "w", stdout) == nullptr) {
                _exit(126);
            }
            execvp(command[0], command);
            _exit(127);
        }
        close(ends[1]);
        m_output = ends[0];
    }
    ~Child() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        close(m_output);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    int Output() const { return m_output; }
    // How, as waitpid tells it; -1 while it runs.
    int Ended() const {
        int status = 0;
        return waitpid(m_pid, &status, WNOHANG) == m_pid ? status : -1;
    }

private:
    pid_t m_pid = -1;
    int m_output = -1;
};

// A field of /proc/PID/status.
long StatusOf(int pid, const std::string& field) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.rfind(field + ":", 0) == 0) {
            return std::strtol(line.c_str() + field.size() + 1, nullptr, 10);
        }
    }
    Die("no " + field + " of process " + std::to_string(pid));
}

// Seconds that it has run on processors.
double ProcessorTime(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::stringstream text;
    text << file.rdbuf();
    std::istringstream fields(text.str().substr(text.str().rfind(')') + 2));
    std::string skipped;
    for (int i = 0; i < 11; ++i) { // utime is the 14th of all, and the 12th behind the name
        fields >> skipped;
    }
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

class Bus {
public:
    Bus() {
        if (sd_bus_open_system(&m_bus) < 0) {
            Die("no bus");
        }
    }
    ~Bus() { sd_bus_flush_close_unref(m_bus); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    // Whether the service has answered, and not the router in its place.
    bool Answers(const char* service) {
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        const char* subject = nullptr;
        const char* payload = "";
        const bool isAnswered =
            sd_bus_call_method(m_bus, ROUTER, "/quill/endpoint", "quill.Endpoint1", "Call", &error,
                               &reply, "ss", service, R"({"a":1})") >= 0 &&
            sd_bus_message_read(reply, "ss", &subject, &payload) >= 0 &&
            std::strstr(payload, "return_error") == nullptr;
        sd_bus_message_unref(reply);
        sd_bus_error_free(&error);
        return isAnswered;
    }

    int RouterPid() {
        sd_bus_creds* creds = nullptr;
        pid_t pid = 0;
        if (sd_bus_get_name_creds(m_bus, ROUTER, SD_BUS_CREDS_PID, &creds) < 0 ||
            sd_bus_creds_get_pid(creds, &pid) < 0) {
            Die("the bus doesn't know the daemon's process");
        }
        sd_bus_creds_unref(creds);
        return pid;
    }

private:
    sd_bus* m_bus = nullptr;
};

Clock::duration UntilAnswer(Bus& bus, const Child& daemon, const char* service,
                            Clock::time_point begin) {
    while (!bus.Answers(service)) {
        if (const int status = daemon.Ended(); status >= 0 || Clock::now() - begin > LIMIT) {
            Die(std::string("no answer of ") + service + ", status " + std::to_string(status));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return Clock::now() - begin;
}

void MeasureDaemon(const char* first, const char* last, int idle, char** command) {
    Bus bus;
    const auto begin = Clock::now();
    const Child daemon(command, false);
    const auto toFirst = UntilAnswer(bus, daemon, first, begin);
    const auto toLast = UntilAnswer(bus, daemon, last, begin);
    const int pid = bus.RouterPid();
    const double before = ProcessorTime(pid);
    std::this_thread::sleep_for(std::chrono::seconds(idle));
    const double percent = idle > 0 ? (ProcessorTime(pid) - before) / idle * 100 : 0;
    std::printf("%.2f %.2f %ld %ld %.4f\n", Milliseconds(toFirst), Milliseconds(toLast),
                StatusOf(pid, "VmRSS"), StatusOf(pid, "Threads"), percent);
}

void MeasureOpen(char** command) {
    const auto begin = Clock::now();
    const Child program(command, true);
    char line[64] = {};
    int pid = 0;
    if (read(program.Output(), line, sizeof(line) - 1) <= 0 ||
        std::sscanf(line, "open %d", &pid) != 1) {
        Die("the libraries can't be opened");
    }
    const auto toOpen = Clock::now() - begin;
    std::printf("%.2f %ld %ld\n", Milliseconds(toOpen), StatusOf(pid, "VmRSS"),
                StatusOf(pid, "Threads"));
}

} // namespace

int main(int count, char** words) {
    if (count > 5 && std::strcmp(words[1], "daemon") == 0) {
        MeasureDaemon(words[2], words[3], std::atoi(words[4]), words + 5);
    } else if (count > 2 && std::strcmp(words[1], "open") == 0) {
        MeasureOpen(words + 2);
    } else if (count == 2 && std::strcmp(words[1], "pid") == 0) {
        std::printf("%d\n", Bus().RouterPid());
    } else {
        std::fprintf(stderr, "usage: bench-scale daemon FIRST LAST IDLE COMMAND...\n"
                             "       bench-scale open COMMAND...\n"
                             "       bench-scale pid\n");
        return 2;
    }
}

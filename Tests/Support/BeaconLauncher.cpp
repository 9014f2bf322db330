// SPDX-License-Identifier: Apache-2.0

// Serves the deadlock watchdog's device for one command, where no file system in user space may be
// mounted.
//
//     beacon-launcher DEVICE FOLDER COMMAND [ARGUMENT...]
//
// DEVICE is an empty file. The command runs under a seccomp filter that reports each ioctl 0x70
// here; one on that file is answered as the device would, and what it writes goes to FOLDER as
// hang-beacon's dumps do. The device isn't told of open and close, so that what a thread writes
// belongs together until nothing more comes. Exit status: the command's, or 77 with a word about it
// where such a filter isn't permitted.

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <map>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CallingThread.h"
#include "DumpCollector.h"
#include "DumpStore.h"

namespace {

using namespace hang_beacon;

constexpr unsigned WRITE_LINE = 0x70;
constexpr unsigned IOCTL_OF_32_BITS = 54; // of i386
constexpr int NOT_PERMITTED = 77;

// Returns the descriptor of the reports, or -1.
int InstallFilter() {
    constexpr unsigned ARCH = offsetof(seccomp_data, arch);
    constexpr unsigned NUMBER = offsetof(seccomp_data, nr);
    constexpr unsigned REQUEST = offsetof(seccomp_data, args[1]); // its lower half
    std::array filter{
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, ARCH),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_I386, 0, 2),
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, NUMBER),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IOCTL_OF_32_BITS, 2, 4),
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, NUMBER),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, 2),
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, REQUEST),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, WRITE_LINE, 1, 0),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
    };
    const sock_fprog program{filter.size(), filter.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    return static_cast<int>(
        syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

// Room for one descriptor in a message (unix(7), SCM_RIGHTS).
struct Passage {
    char byte = 0;
    iovec data{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{nullptr, 0, &data, 1, control.data(), control.size(), 0};
};

void SendDescriptor(int socket, int descriptor) {
    Passage passage;
    cmsghdr* const header = CMSG_FIRSTHDR(&passage.message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof(int));
    sendmsg(socket, &passage.message, 0);
}

int ReceiveDescriptor(int socket) {
    Passage passage;
    int descriptor = -1;
    if (recvmsg(socket, &passage.message, MSG_CMSG_CLOEXEC) == 1) {
        if (const cmsghdr* const header = CMSG_FIRSTHDR(&passage.message); header != nullptr) {
            std::memcpy(&descriptor, CMSG_DATA(header), sizeof(int));
        }
    }
    return descriptor;
}

[[noreturn]] void RunCommand(int socket, char** command) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int reports = InstallFilter();
    if (reports < 0) {
        std::fprintf(stderr, "beacon-launcher: no such filter is permitted here: %s\n",
                     strerror(errno));
        _exit(NOT_PERMITTED);
    }
    SendDescriptor(socket, reports);
    close(reports);
    close(socket);
    execvp(command[0], command);
    std::fprintf(stderr, "beacon-launcher: %s: %s\n", command[0], strerror(errno));
    _exit(127);
}

class Server {
public:
    Server(const char* device, const char* folder)
        : m_store(folder, 50), m_collector([this](const Dump& dump) { m_store.Add(dump); }) {
        stat(device, &m_device);
    }

    // Answers one report.
    void Answer(int reports) {
        seccomp_notif report{};
        if (ioctl(reports, SECCOMP_IOCTL_NOTIF_RECV, &report) != 0) {
            return; // the caller has died meanwhile
        }
        seccomp_notif_resp answer{};
        answer.id = report.id;
        const auto thread = static_cast<pid_t>(report.pid);
        std::string line;
        if (!IsDevice(thread, static_cast<int>(report.data.args[0]))) {
            answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
        } else {
            answer.error = ReadLine(thread, report.data.args[2], line);
            if (answer.error == 0) {
                Add(thread, line);
            }
        }
        ioctl(reports, SECCOMP_IOCTL_NOTIF_SEND, &answer);
    }

    void Tick() {
        m_collector.Tick(DumpCollector::Clock::now());
        if (!m_collector.Deadline()) {
            m_openings.clear();
        }
    }
    void Finish() { m_collector.Finish(); }

private:
    bool IsDevice(pid_t thread, int descriptor) const {
        const std::string path =
            "/proc/" + std::to_string(thread) + "/fd/" + std::to_string(descriptor);
        struct stat status {};
        return stat(path.c_str(), &status) == 0 && status.st_dev == m_device.st_dev &&
               status.st_ino == m_device.st_ino;
    }

    void Add(pid_t thread, const std::string& line) {
        const auto now = DumpCollector::Clock::now();
        auto& opening = m_openings[thread];
        if (opening == 0) {
            opening = m_collector.Open(ProcessOf(thread), ThreadOf(thread), now);
        }
        m_collector.Add(opening, line, now);
    }

    struct stat m_device {};
    DumpStore m_store;
    DumpCollector m_collector;
    std::map<pid_t, std::uint64_t> m_openings; // of the dumps that aren't finished
};

int ExitStatusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

int main(int count, char** words) {
    if (count < 4) {
        std::fputs("usage: beacon-launcher DEVICE FOLDER COMMAND [ARGUMENT...]\n", stderr);
        return 2;
    }
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    std::array<int, 2> sockets{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
        return 1;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(sockets[0]);
        RunCommand(sockets[1], words + 3);
    }
    close(sockets[1]);
    const int reports = ReceiveDescriptor(sockets[0]);
    if (reports < 0) {
        return ExitStatusOf(child);
    }
    Server server(words[1], words[2]);
    std::array<pollfd, 2> waiting{pollfd{reports, POLLIN, 0},
                                  pollfd{signalfd(-1, &ending, SFD_CLOEXEC), POLLIN, 0}};
    while (true) {
        poll(waiting.data(), waiting.size(), 50);
        if ((waiting[0].revents & POLLIN) != 0) {
            server.Answer(reports);
        } else if ((waiting[0].revents & POLLHUP) != 0) {
            break; // nobody is left under the filter
        }
        if (waiting[1].revents != 0) {
            signalfd_siginfo signal{};
            if (read(waiting[1].fd, &signal, sizeof(signal)) > 0) {
                kill(child, static_cast<int>(signal.ssi_signo));
            }
        }
        server.Tick();
    }
    server.Finish();
    return ExitStatusOf(child);
}

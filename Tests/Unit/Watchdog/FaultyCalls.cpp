// SPDX-License-Identifier: Apache-2.0
#include "FaultyCalls.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <dlfcn.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<int> initError = 0;
std::atomic<int> addWatchError = 0;
std::atomic<int> sigactionError = 0;

// Whether the call is to fail now.
bool Fails(const std::atomic<int>& error) {
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

} // namespace

void FaultyCalls::FailInotifyInit(int error) {
    initError = error;
}

void FaultyCalls::FailInotifyAddWatch(int error) {
    addWatchError = error;
}

void FaultyCalls::FailSigaction(int error) {
    sigactionError = error;
}

extern "C" {

int inotify_init() noexcept {
    return Fails(initError) ? -1 : static_cast<int>(syscall(SYS_inotify_init1, 0));
}

int inotify_add_watch(int fd, const char* name, std::uint32_t mask) noexcept {
    return Fails(addWatchError) ? -1
                                : static_cast<int>(syscall(SYS_inotify_add_watch, fd, name, mask));
}

// The C library's, or a sanitizer's, does the work: the kernel's own call has another form.
int sigaction(int signal, const struct sigaction* action, struct sigaction* old) noexcept {
    if (signal == SIGUSR2 && Fails(sigactionError)) {
        return -1;
    }
    using Call = int (*)(int, const struct sigaction*, struct sigaction*);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "sigaction"));
    return next(signal, action, old);
}

} // extern "C"

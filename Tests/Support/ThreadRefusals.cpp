// SPDX-License-Identifier: Apache-2.0

// A library for LD_PRELOAD that has the system refuse threads. The file that
// HEARTHD_THREAD_REFUSALS names holds two numbers: how many threads are still to be granted, and
// how many refused behind these; both count down. Without the file every thread is granted.

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <mutex>
#include <pthread.h>

namespace {

bool IsRefused() {
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    const char* const path = std::getenv("HEARTHD_THREAD_REFUSALS");
    int granted = 0;
    int refused = 0;
    if (path == nullptr || !(std::ifstream(path) >> granted >> refused)) {
        return false;
    }
    const bool isRefused = granted == 0 && refused > 0;
    (granted > 0 ? granted : refused) -= granted > 0 || refused > 0 ? 1 : 0;
    std::ofstream(path) << granted << ' ' << refused << '\n';
    return isRefused;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int
pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
               void* argument) noexcept {
    if (IsRefused()) {
        return EAGAIN;
    }
    using Call = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "pthread_create"));
    return next(thread, attributes, routine, argument);
}

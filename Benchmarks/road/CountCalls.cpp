// SPDX-License-Identifier: Apache-2.0

// Loaded ahead of a program's libraries (LD_PRELOAD), counts its allocations and the mutexes that
// it takes. The counts lie in the file that COUNT_CALLS_FILE names, as 64-bit numbers in this
// order, while the program runs: whoever reads it takes the difference around what is of interest.
//
// Only the program of the name in COUNT_CALLS_OF is counted: the variables reach the programs that
// start it, too. Mutexes are those of pthread; GLib's are its own and aren't seen here.

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

struct Counts {
    std::atomic<std::uint64_t> allocations;
    std::atomic<std::uint64_t> mutexes;
};

Counts g_uncounted;
std::atomic<Counts*> g_counts{&g_uncounted};

__attribute__((constructor)) void Begin() {
    const char* const file = std::getenv("COUNT_CALLS_FILE");
    const char* const program = std::getenv("COUNT_CALLS_OF");
    if (file == nullptr || program == nullptr ||
        std::strcmp(program, program_invocation_short_name) != 0) {
        return;
    }
    const int descriptor = open(file, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0 || ftruncate(descriptor, sizeof(Counts)) != 0) {
        std::abort();
    }
    void* const memory =
        mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED) {
        std::abort();
    }
    g_counts = static_cast<Counts*>(memory);
}

void Count(std::atomic<std::uint64_t> Counts::*what) {
    (g_counts.load(std::memory_order_relaxed)->*what).fetch_add(1, std::memory_order_relaxed);
}

// What would be there without this library. dlsym allocates nothing where it finds the name.
template <class Function>
Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void* Allocate(std::size_t size) {
    static const auto next = Next<void* (*)(std::size_t)>("malloc");
    Count(&Counts::allocations);
    return next(size);
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return Allocate(size);
}

void* calloc(std::size_t count, std::size_t size) {
    static const auto next = Next<void* (*)(std::size_t, std::size_t)>("calloc");
    Count(&Counts::allocations);
    return next(count, size);
}

void* realloc(void* memory, std::size_t size) {
    static const auto next = Next<void* (*)(void*, std::size_t)>("realloc");
    Count(&Counts::allocations);
    return next(memory, size);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
    Count(&Counts::mutexes);
    return next(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_trylock");
    Count(&Counts::mutexes);
    return next(mutex);
}

} // extern "C"

// An allocator may have these of its own, which don't go through malloc.
void* operator new(std::size_t size) {
    void* const memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

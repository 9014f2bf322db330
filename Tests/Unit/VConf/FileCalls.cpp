// SPDX-License-Identifier: Apache-2.0

// Under 32 bits pwrite and pwrite64 are two functions, and the first would be a name of the second.
#undef _FILE_OFFSET_BITS
#include "FileCalls.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace filecalls {

namespace {

struct State {
    std::mutex mutex;
    std::vector<std::pair<std::string, Call>> calls;
    Call failing = Call::Write;
    std::string failingEnd;
    int error = 0;
    std::string deadly;

    // Never destroyed: threads may write at exit.
    static State& Get() {
        static auto* const state = new State;
        return *state;
    }
};

std::string NameOf(int file) {
    std::string name(4096, '\0');
    const ssize_t size =
        readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), name.data(), name.size());
    name.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return name;
}

// The error that the call is to have; 0 where it is to be done.
int Note(Call call, int file) {
    const int before = errno;
    const std::string name = NameOf(file);
    errno = before;
    State& state = State::Get();
    const std::scoped_lock lock(state.mutex);
    if (call == Call::Write && !state.deadly.empty() && name.ends_with(state.deadly)) {
        kill(getpid(), SIGKILL);
    }
    state.calls.emplace_back(name, call);
    const bool fails =
        state.error != 0 && call == state.failing && name.ends_with(state.failingEnd);
    return fails ? state.error : 0;
}

ssize_t Write(int file, const void* data, std::size_t size, off64_t offset) {
    static const auto write = reinterpret_cast<decltype(&pwrite64)>(dlsym(RTLD_NEXT, "pwrite64"));
    if (const int error = Note(Call::Write, file); error != 0) {
        errno = error;
        return -1;
    }
    return write(file, data, size, offset);
}

int Sync(int file, long number) {
    if (const int error = Note(Call::Sync, file); error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(syscall(number, file));
}

} // namespace

void Clear() {
    State& state = State::Get();
    const std::scoped_lock lock(state.mutex);
    state.calls.clear();
    state.error = 0;
}

std::vector<Call> On(const std::string& ending) {
    State& state = State::Get();
    const std::scoped_lock lock(state.mutex);
    std::vector<Call> calls;
    for (const auto& [name, call] : state.calls) {
        if (name.ends_with(ending)) {
            calls.push_back(call);
        }
    }
    return calls;
}

void Fail(Call call, const std::string& ending, int error) {
    State& state = State::Get();
    const std::scoped_lock lock(state.mutex);
    state.failing = call;
    state.failingEnd = ending;
    state.error = error;
}

void DieAtWrite(const std::string& ending) {
    State& state = State::Get();
    const std::scoped_lock lock(state.mutex);
    state.deadly = ending;
}

} // namespace filecalls

// In the place of the C library's.
extern "C" {

ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
    return filecalls::Write(file, data, size, offset);
}

ssize_t pwrite64(int file, const void* data, size_t size, off64_t offset) {
    return filecalls::Write(file, data, size, offset);
}

int fsync(int file) {
    return filecalls::Sync(file, SYS_fsync);
}

int fdatasync(int file) {
    return filecalls::Sync(file, SYS_fdatasync);
}

} // extern "C"

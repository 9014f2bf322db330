// SPDX-License-Identifier: Apache-2.0

// The half of APIWatchdog that runs in a signal handler: on the interrupted thread's own stack,
// with all signals blocked, and maybe in the middle of an allocation or of a locked section. There
// is no allocation here, no lock of ours and no stdio: system calls, snprintf with numbers and
// strings alone, and libunwind's local unwinding, which is made for this. Its own way to a
// procedure's name isn't: it allocates, and reads the library's file. So it gets another one. Nor
// is its cache: who looks something up holds the cache's lock while it waits for the loader's. A
// thread that has the loader's, interrupted in a dlopen or an exception, would wait for the cache's
// then, and the daemon stand still. So there is no cache.

#define UNW_LOCAL_ONLY

#include "APIWatchdog.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <libunwind.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ProcedureName.h"

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wformat-truncation" // a long name is cut
#endif

namespace {

constexpr const char* DEVICE = "/dev/hang_beacon";
constexpr unsigned long WRITE_LINE = 0x70; // the device's request: the argument is the line

// What libunwind calls for a name.
int NameForUnwinder(unw_addr_space_t /*space*/, unw_word_t address, char* name, std::size_t size,
                    unw_word_t* offset, void* /*argument*/) {
    std::uintptr_t bytes = 0;
    if (!ProcedureName(address, name, size, bytes)) {
        return -UNW_ENOINFO;
    }
    *offset = bytes;
    return 0;
}

} // namespace

// Ahead of the first signal: it initialises libunwind too.
void APIWatchdog::PrepareHandler() {
    unw_get_accessors(unw_local_addr_space)->get_proc_name = NameForUnwinder;
    unw_set_caching_policy(unw_local_addr_space, UNW_CACHE_NONE);
}

// The device prints addresses of 32 bits; of a wider one the line holds the lower half.
void APIWatchdog::SignalHandler(int /*signal*/) {
    const int error = errno;
    const int device = open(DEVICE, O_RDWR);
    if (device == -1) {
        errno = error;
        return;
    }
    const int thread = static_cast<int>(syscall(SYS_gettid));
    unw_context_t context;
    unw_cursor_t cursor;
    unw_getcontext(&context);
    unw_init_local(&cursor, &context);
    unw_step(&cursor); // out of this handler
    std::array<char, BUFF_SIZE> name;
    std::array<char, BUFF_SIZE> line;
    while (unw_step(&cursor) > 0) {
        unw_word_t address = 0;
        unw_get_reg(&cursor, UNW_REG_IP, &address);
        if (address == 0) {
            break;
        }
        unw_word_t offset = 0;
        if (unw_get_proc_name(&cursor, name.data(), name.size(), &offset) == 0) {
            std::snprintf(line.data(), line.size(), "%d)0x%x: (%s+0x%x)", thread,
                          static_cast<unsigned>(address), name.data(),
                          static_cast<unsigned>(offset));
        } else {
            std::snprintf(line.data(), line.size(), "%d)<unknown>", thread);
        }
        ioctl(device, WRITE_LINE, line.data());
    }
    close(device);
    errno = error;
}

// SPDX-License-Identifier: Apache-2.0
#include "MallocCount.h"

#include <cstddef>

namespace {

thread_local long t_count = 0;

} // namespace

long MallocCount() {
    return t_count;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// The program's definitions come ahead of the C library's, for every library of the process.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);

void* malloc(std::size_t size) {
    ++t_count;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++t_count;
    return __libc_calloc(count, size);
}

} // extern "C"

#endif

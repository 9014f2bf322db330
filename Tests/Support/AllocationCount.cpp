// SPDX-License-Identifier: Apache-2.0
#include "AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> g_count{0};

} // namespace

long AllocationCount() {
    return g_count;
}

void* operator new(std::size_t size) {
    ++g_count;
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*how*/) noexcept {
    ++g_count;
    return std::malloc(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

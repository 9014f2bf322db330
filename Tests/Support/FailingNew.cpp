// SPDX-License-Identifier: Apache-2.0
#include "FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t failingSize = 0;
thread_local int spared = 0;

} // namespace

FailingNew::FailingNew(std::size_t size, int after) {
    failingSize = size;
    spared = after;
}

FailingNew::~FailingNew() {
    failingSize = 0;
}

void* operator new(std::size_t size) {
    if (size == failingSize && spared-- == 0) {
        failingSize = 0;
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

// Arrays too: a sanitizer's own ones wouldn't come through the above.

void* operator new[](std::size_t size) {
    return operator new(size);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

// Helgrind sees an atomic access as an ordinary one, by which nothing is ordered. The build for
// valgrind includes this ahead of every source: it stands between libstdc++, that of std::atomic
// and of shared pointers' counts, and the compiler's operations, and tells what is acquired and
// released. Whatever the caller asks for, the order is the strongest; ThreadSanitizer knows the
// difference.

#include <valgrind/helgrind.h>

namespace atomicorder {

template <typename Value>
void Release(Value* at) {
    ANNOTATE_HAPPENS_BEFORE(at);
}

template <typename Value>
void Acquire(Value* at) {
    ANNOTATE_HAPPENS_AFTER(at);
}

template <typename Value>
auto Load(Value* at, int order) {
    auto value = __atomic_load_n(at, order);
    Acquire(at);
    return value;
}

template <typename Value, typename New>
void Store(Value* at, New value, int order) {
    Release(at);
    __atomic_store_n(at, value, order);
}

template <typename Value, typename New>
auto Exchange(Value* at, New value, int order) {
    Release(at);
    auto before = __atomic_exchange_n(at, value, order);
    Acquire(at);
    return before;
}

template <typename Value, typename Expected, typename New>
bool CompareExchange(Value* at, Expected* expected, New value, bool weak, int success,
                     int failure) {
    Release(at);
    const bool isDone = __atomic_compare_exchange_n(at, expected, value, weak, success, failure);
    Acquire(at);
    return isDone;
}

template <typename Value, typename Difference>
auto FetchAdd(Value* at, Difference difference, int order) {
    Release(at);
    auto before = __atomic_fetch_add(at, difference, order);
    Acquire(at);
    return before;
}

template <typename Value, typename Difference>
auto FetchSub(Value* at, Difference difference, int order) {
    Release(at);
    auto before = __atomic_fetch_sub(at, difference, order);
    Acquire(at);
    return before;
}

} // namespace atomicorder

#define __atomic_load_n(at, order) atomicorder::Load(at, order)
#define __atomic_store_n(at, value, order) atomicorder::Store(at, value, order)
#define __atomic_exchange_n(at, value, order) atomicorder::Exchange(at, value, order)
#define __atomic_compare_exchange_n(at, expected, value, weak, success, failure)                   \
    atomicorder::CompareExchange(at, expected, value, weak, success, failure)
#define __atomic_fetch_add(at, difference, order) atomicorder::FetchAdd(at, difference, order)
#define __atomic_fetch_sub(at, difference, order) atomicorder::FetchSub(at, difference, order)

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// While it lives, the next `new` of exactly `size` bytes on this thread throws std::bad_alloc. One
/// at a time. Linking FailingNew.cpp puts an operator new of its own in the place of the library's.
class FailingNew {
public:
    /// With `after`, so many such allocations succeed first.
    explicit FailingNew(std::size_t size, int after = 0);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

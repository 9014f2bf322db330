// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>
#include <utility>

namespace marrow::base {

/// Owns a file descriptor; a negative number is none.
class FileDescriptor {
public:
    explicit FileDescriptor(int number = -1) : m_number(number) {}
    ~FileDescriptor() {
        if (m_number >= 0) {
            close(m_number);
        }
    }
    FileDescriptor(FileDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }

    int Number() const { return m_number; }

private:
    int m_number;
};

} // namespace marrow::base

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>

namespace marrow::evt {

/// A copy of the platform's bytes that all who receive the event share; empty where there are none.
inline std::shared_ptr<unsigned char> CopyPayload(const unsigned char* data, std::size_t size) {
    unsigned char* copy = nullptr;
    if (data != nullptr && size != 0) {
        copy = new unsigned char[size];
        std::memcpy(copy, data, size);
    }
    return {copy, std::default_delete<unsigned char[]>()};
}

} // namespace marrow::evt

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>
#include <vector>

/// Makes an object that lives as long as its process, as the daemon's own objects do: threads of
/// its own may still look at it when a test is over.
template <typename T, typename... Arguments>
T& KeepForEver(Arguments&&... arguments) {
    static auto* const kept = new std::vector<T*>;
    kept->push_back(new T(std::forward<Arguments>(arguments)...));
    return *kept->back();
}

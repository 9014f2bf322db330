// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

/// One T for each thread, made at the first use with the arguments of that one, which are of the
/// same types at each use. Gone with the other objects of its thread, when static destructors may
/// still log.
template <class T>
class PerThread {
public:
    /// Null when it is gone. `arguments` are for T's constructor.
    template <class... Arguments>
    static T* Get(Arguments&&... arguments) {
        static thread_local bool isGone = false;
        struct Owner {
            T object;
            explicit Owner(Arguments&&... given) : object(std::forward<Arguments>(given)...) {}
            ~Owner() { isGone = true; }
        };
        if (isGone) {
            return nullptr;
        }
        static thread_local Owner owner(std::forward<Arguments>(arguments)...);
        return &owner.object;
    }
};

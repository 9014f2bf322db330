// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

/// The T of the thread, made at its first use with the arguments of that one, which are of the same
/// types at each use. It goes with the other objects of its thread; what static destructors still
/// log then has one that ends with this object.
template <class T>
class PerThread {
public:
    template <class... Arguments>
    explicit PerThread(const Arguments&... arguments) : m_object(OfThread(arguments...)) {
        if (m_object == nullptr) {
            m_object = &m_own.emplace(arguments...);
        }
    }
    PerThread(const PerThread&) = delete;
    PerThread& operator=(const PerThread&) = delete;

    T* operator->() const { return m_object; }

private:
    // Null when it is gone.
    template <class... Arguments>
    static T* OfThread(const Arguments&... arguments) {
        static thread_local bool isGone = false;
        struct Owner {
            T object;
            explicit Owner(const Arguments&... given) : object(given...) {}
            ~Owner() { isGone = true; }
        };
        if (isGone) {
            return nullptr;
        }
        static thread_local Owner owner(arguments...);
        return &owner.object;
    }

    std::optional<T> m_own;
    T* m_object;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <climits>
#include <memory>
#include <pthread.h>

namespace marrow::base {

/// An object of each thread's own, made at its first use there. It goes with its thread, after the
/// thread's other objects; the main thread's stays, for what runs when the process ends.
///
/// A thread_local object with a destructor is bespoken under the lock of the C library's loader.
/// The constructors of a library that is being loaded hold that, however long they take, and with
/// it every thread that comes to such an object for the first time. This one takes no lock.
template <class T>
class PerThread {
public:
    /// Of the calling thread; `arguments` are for making it. Throws what that throws.
    template <class... Arguments>
    static T& Get(const Arguments&... arguments) {
        T*& object = Object();
        if (object == nullptr) {
            auto made = std::make_unique<T>(arguments...);
            pthread_setspecific(Key(), made.get());
            object = made.release();
        }
        return *object;
    }

private:
    static T*& Object() {
        static thread_local T* object = nullptr;
        return object;
    }

    static pthread_key_t Key() {
        static const pthread_key_t key = [] {
            pthread_key_t made = PTHREAD_KEYS_MAX; // no key: nothing is deleted then
            pthread_key_create(&made, Delete);
            return made;
        }();
        return key;
    }

    // Who asks for it later on this thread gets another one.
    static void Delete(void* object) {
        Object() = nullptr;
        delete static_cast<T*>(object);
    }
};

} // namespace marrow::base

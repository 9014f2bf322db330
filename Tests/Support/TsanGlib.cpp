// SPDX-License-Identifier: Apache-2.0

// ThreadSanitizer doesn't see inside GLib, whose mutexes and conditions are futexes of its own: it
// would take everything that they order for a race, what goes to the main loop too. These functions
// stand ahead of GLib's in the programs of the tsan build, tell the sanitizer what is acquired and
// released, and leave the work to GLib.

#include <dlfcn.h>
#include <glib.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <typename Function>
Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// What a thread has the main loop call.
struct MainLoopCall {
    GSourceFunc function;
    gpointer data;
};

gboolean Call(gpointer data) {
    __tsan_acquire(data);
    auto* const call = static_cast<MainLoopCall*>(data);
    const gboolean isToBeCalledAgain = call->function(call->data);
    if (isToBeCalledAgain == FALSE) {
        delete call;
    }
    return isToBeCalledAgain;
}

} // namespace

extern "C" {

void g_main_context_invoke(GMainContext* context, GSourceFunc function, gpointer data) {
    static const auto next =
        Next<void (*)(GMainContext*, GSourceFunc, gpointer)>("g_main_context_invoke");
    auto* const call = new MainLoopCall{function, data};
    __tsan_release(call);
    next(context, Call, call);
}

void g_mutex_lock(GMutex* mutex) {
    static const auto next = Next<void (*)(GMutex*)>("g_mutex_lock");
    next(mutex);
    __tsan_acquire(mutex);
}

void g_mutex_unlock(GMutex* mutex) {
    static const auto next = Next<void (*)(GMutex*)>("g_mutex_unlock");
    __tsan_release(mutex);
    next(mutex);
}

gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end) {
    static const auto next = Next<gboolean (*)(GCond*, GMutex*, gint64)>("g_cond_wait_until");
    __tsan_release(mutex);
    const gboolean signalled = next(condition, mutex, end);
    __tsan_acquire(mutex);
    return signalled;
}

} // extern "C"

// SPDX-License-Identifier: Apache-2.0

// ThreadSanitizer and helgrind don't see inside GLib, whose mutexes and conditions are futexes of
// its own: they would take everything that these order for a race, what goes to the main loop too.
// These functions stand ahead of GLib's in the programs of their builds, tell them what is acquired
// and released, and leave the work to GLib.

#include <dlfcn.h>
#include <glib.h>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#else
#include <valgrind/helgrind.h>
#endif

namespace {

#if defined(__SANITIZE_THREAD__)
void Acquire(void* what) {
    __tsan_acquire(what);
}

void Release(void* what) {
    __tsan_release(what);
}
#else
void Acquire(void* what) {
    ANNOTATE_HAPPENS_AFTER(what);
}

void Release(void* what) {
    ANNOTATE_HAPPENS_BEFORE(what);
}
#endif

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
    Acquire(data);
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
    Release(call);
    next(context, Call, call);
}

void g_mutex_lock(GMutex* mutex) {
    static const auto next = Next<void (*)(GMutex*)>("g_mutex_lock");
    next(mutex);
    Acquire(mutex);
}

void g_mutex_unlock(GMutex* mutex) {
    static const auto next = Next<void (*)(GMutex*)>("g_mutex_unlock");
    Release(mutex);
    next(mutex);
}

gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end) {
    static const auto next = Next<gboolean (*)(GCond*, GMutex*, gint64)>("g_cond_wait_until");
    Release(mutex);
    const gboolean signalled = next(condition, mutex, end);
    Acquire(mutex);
    return signalled;
}

} // extern "C"

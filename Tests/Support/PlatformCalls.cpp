// SPDX-License-Identifier: Apache-2.0

// A library for LD_PRELOAD in the place of a device's own: it writes each call to standard error,
// and answers that it has failed. Of the main loop's timers it writes the interval, and leaves them
// to GLib.

#include <cstdio>
#include <dlfcn.h>
#include <glib.h>

#include "HangBeacon.h"
#include "ProcStat.h"

__attribute__((visibility("default"))) int proc_stat_set_vip_process() {
    std::fputs("platform: must live\n", stderr);
    return -1;
}

__attribute__((visibility("default"))) int hang_beacon_register_watchdog_service(int setting) {
    std::fprintf(stderr, "platform: watched with %d\n", setting);
    return -1;
}

__attribute__((visibility("default"))) guint g_timeout_add(guint interval, GSourceFunc function,
                                                           gpointer data) {
    std::fprintf(stderr, "main loop: every %u ms\n", interval);
    using Call = guint (*)(guint, GSourceFunc, gpointer);
    return reinterpret_cast<Call>(dlsym(RTLD_NEXT, "g_timeout_add"))(interval, function, data);
}

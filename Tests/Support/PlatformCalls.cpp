// SPDX-License-Identifier: Apache-2.0

// A library for LD_PRELOAD in the place of a device's own: it writes each call to standard error,
// and answers that it has failed.

#include <cstdio>

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

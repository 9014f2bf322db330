// SPDX-License-Identifier: Apache-2.0
#pragma once

// The deadlock watchdog: it expects to hear from a registered process again and again, and acts
// when it doesn't. On a PC this is the service manager's readiness and watchdog protocol
// (sd_notify(3)); a process that no service manager started is told nothing and runs all the same.

#ifdef __cplusplus
extern "C" {
#endif

/// Registers the calling process. `setting` is the platform's own and is passed as it stands; the
/// PC's service manager has its limit in the unit file (WatchdogSec=) and doesn't read it. Tells
/// the service manager that the process is ready.
///
/// Any thread, once. Returns 0, or a negative errno value.
int hang_beacon_register_watchdog_service(int setting);

/// Tells the watchdog that the calling process is alive. Any thread, as often as wanted; blocks
/// only while the service manager reads nothing and its queue is full. Returns 0, or a negative
/// errno value.
int hang_beacon_watchdog_notify(void);

#ifdef __cplusplus
}
#endif

// SPDX-License-Identifier: Apache-2.0
#pragma once

// The process-status service: tells the system which processes must live.

#ifdef __cplusplus
extern "C" {
#endif

/// Registers the calling process as a VIP process: one that the kernel picks last when memory runs
/// out. On a PC it writes -900 into "/proc/self/oom_score_adj" (proc(5)), which needs
/// CAP_SYS_RESOURCE.
///
/// Any thread. Returns 0, or a negative errno value, which the log tells at WARN; without the
/// privilege the process runs on as an ordinary one.
int proc_stat_set_vip_process(void);

#ifdef __cplusplus
}
#endif

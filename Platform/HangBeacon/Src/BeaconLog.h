// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Dlog.h"

// The log lines of the device's server.

#define BEACON_LOG(priority, format, ...)                                                          \
    __dlog_print(priority, "HANGBEACON", format "\n" __VA_OPT__(, ) __VA_ARGS__)

#define BEACON_LOGI(...) BEACON_LOG(DLOG_INFO, __VA_ARGS__)
#define BEACON_LOGW(...) BEACON_LOG(DLOG_WARN, __VA_ARGS__)
#define BEACON_LOGE(...) BEACON_LOG(DLOG_ERROR, __VA_ARGS__)

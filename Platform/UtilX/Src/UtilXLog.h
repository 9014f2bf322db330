// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Dlog.h"

// The library's log lines.

#define UTILX_LOG(priority, format, ...)                                                           \
    __dlog_print(priority, "UTILX", format "\n" __VA_OPT__(, ) __VA_ARGS__)

#define UTILX_LOGD(...) UTILX_LOG(DLOG_DEBUG, __VA_ARGS__)
#define UTILX_LOGW(...) UTILX_LOG(DLOG_WARN, __VA_ARGS__)
#define UTILX_LOGE(...) UTILX_LOG(DLOG_ERROR, __VA_ARGS__)

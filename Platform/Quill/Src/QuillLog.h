// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Dlog.h"

#define QUILL_LOGD(format, ...)                                                                    \
    __dlog_print(DLOG_DEBUG, "QUILL", format "\n" __VA_OPT__(, ) __VA_ARGS__)
#define QUILL_LOGI(format, ...)                                                                    \
    __dlog_print(DLOG_INFO, "QUILL", format "\n" __VA_OPT__(, ) __VA_ARGS__)
#define QUILL_LOGW(format, ...)                                                                    \
    __dlog_print(DLOG_WARN, "QUILL", format "\n" __VA_OPT__(, ) __VA_ARGS__)
#define QUILL_LOGE(format, ...)                                                                    \
    __dlog_print(DLOG_ERROR, "QUILL", format "\n" __VA_OPT__(, ) __VA_ARGS__)

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <limits>

#include "Dlog.h"

// The daemon's log lines: tag "HEARTHD", and ahead of the text the source file's name, the
// function's name and the line.

#define HEARTHD_LOG_TAG "HEARTHD"

#define HEARTHD_LOG(priority, format, ...)                                                         \
    __dlog_print(priority, HEARTHD_LOG_TAG, "%s: %s(%d) > " format "\n", __FILE_NAME__, __func__,  \
                 __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#define LOGD(...) HEARTHD_LOG(DLOG_DEBUG, __VA_ARGS__)
#define LOGI(...) HEARTHD_LOG(DLOG_INFO, __VA_ARGS__)
#define LOGW(...) HEARTHD_LOG(DLOG_WARN, __VA_ARGS__)
#define LOGE(...) HEARTHD_LOG(DLOG_ERROR, __VA_ARGS__)

/// How many bytes of a text of this priority are worth making: where the log doesn't tell, all.
inline std::size_t LogRoom(int priority) {
    return __dlog_room == nullptr ? std::numeric_limits<std::size_t>::max()
                                  : __dlog_room(priority, HEARTHD_LOG_TAG);
}

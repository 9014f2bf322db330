// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Dlog.h"

// The lines of this library in the log.
#define VCONF_LOG(priority, ...) __dlog_print(priority, "VCONF", __VA_ARGS__)

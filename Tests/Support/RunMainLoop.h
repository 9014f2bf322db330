// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib.h>

/// Has the main loop run for a moment, as a process that has set itself up does: servers of this
/// process wait for that with their first message.
inline void RunMainLoop() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

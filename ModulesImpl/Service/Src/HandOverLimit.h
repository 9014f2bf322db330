// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib.h>

namespace marrow::ser {

// How long a caller waits for a worker: the one time limit of the hand-overs.
inline constexpr int HAND_OVER_LIMIT_SECONDS = 10;

/// Its end, from now, on the clock of g_cond_wait_until.
inline gint64 HandOverDeadline() {
    return g_get_monotonic_time() + HAND_OVER_LIMIT_SECONDS * G_USEC_PER_SEC;
}

} // namespace marrow::ser

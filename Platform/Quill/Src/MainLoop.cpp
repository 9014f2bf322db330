// SPDX-License-Identifier: Apache-2.0
#include "MainLoop.h"

#include <atomic>
#include <glib.h>

namespace Quill::MainLoop {

namespace {

std::atomic<bool> s_isExpected = false;
std::atomic<bool> s_hasRun = false;

gboolean NoteRun(gpointer /*data*/) {
    s_hasRun = true;
    return G_SOURCE_REMOVE;
}

} // namespace

void Expect() {
    if (!s_isExpected.exchange(true)) {
        g_idle_add_full(G_PRIORITY_HIGH, NoteRun, nullptr, nullptr);
    }
}

bool HasRun() {
    return s_hasRun;
}

} // namespace Quill::MainLoop

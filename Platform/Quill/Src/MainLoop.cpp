// SPDX-License-Identifier: Apache-2.0
#include "MainLoop.h"

#include <atomic>
#include <glib.h>
#include <utility>

namespace Quill::MainLoop {

namespace {

std::atomic<bool> s_isExpected = false;
std::atomic<bool> s_hasRun = false;

gboolean NoteRun(gpointer /*data*/) {
    s_hasRun = true;
    return G_SOURCE_REMOVE;
}

using Work = std::function<bool()>;

gboolean Run(gpointer work) {
    return (*static_cast<Work*>(work))() ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
}

void Forget(gpointer work) {
    delete static_cast<Work*>(work);
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

void Repeat(std::chrono::milliseconds pause, std::function<bool()> work) {
    g_timeout_add_full(G_PRIORITY_DEFAULT, static_cast<guint>(pause.count()), Run,
                       new Work(std::move(work)), Forget);
}

} // namespace Quill::MainLoop

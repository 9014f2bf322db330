// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>

// Whether this process has set itself up. One that serves does so on its main thread and then runs
// GLib's main loop; what it is asked earlier would meet objects that are still being made.
namespace Quill::MainLoop {

/// How long that may take in a process that never runs one.
inline constexpr std::chrono::seconds LIMIT{5};

/// From here on the main loop will be noticed. Any thread.
void Expect();

/// Whether it has run since. Any thread.
bool HasRun();

/// Has the main loop call `work` after each `pause`, until it returns true. Any thread.
void Repeat(std::chrono::milliseconds pause, std::function<bool()> work);

} // namespace Quill::MainLoop

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <csignal>
#include <string>
#include <sys/types.h>
#include <vector>

/// What the deadlock watchdog's device is told. Linking DeviceRecord.cpp puts its own open and
/// ioctl in the place of the C library's, for the whole test process: they note what concerns the
/// device and go on to the kernel. Any thread; no lock and no allocation on the way in.
struct DeviceRecord {
    struct Line {
        pid_t thread;     ///< the one that wrote it
        int descriptor;   ///< where to
        sigset_t blocked; ///< the thread's signal mask meanwhile
        std::array<char, 320> text;
    };
    struct Opening {
        pid_t thread;
        int flags;
        int descriptor;
    };

    /// Everything so far, in order. The lines of several threads interleave.
    static std::vector<Line> Lines();
    static std::vector<Opening> Openings();

    /// The texts of one thread's lines.
    static std::vector<std::string> TextsOf(pid_t thread);
    /// Whether the device has had a line of this thread.
    static bool HasHeard(pid_t thread);
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool UNDER_SANITIZER = true;
#else
inline constexpr bool UNDER_SANITIZER = false;
#endif

#if defined(__SANITIZE_THREAD__)
inline constexpr bool UNDER_THREAD_SANITIZER = true;
#else
inline constexpr bool UNDER_THREAD_SANITIZER = false;
#endif

/// Death tests run in a process that begins anew: this one has threads.
inline void UseFreshProcesses() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
}

/// For EXPECT_EXIT: the process fell over an address. A sanitizer reports that and ends the process
/// in its own way.
inline bool DiedOfAFault(int status) {
    if (UNDER_SANITIZER) {
        return !WIFEXITED(status) || WEXITSTATUS(status) != 0;
    }
    return WIFSIGNALED(status) && (WTERMSIG(status) == SIGSEGV || WTERMSIG(status) == SIGBUS);
}

/// For EXPECT_EXIT: nothing caught an exception.
inline bool DiedOfTerminate(int status) {
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

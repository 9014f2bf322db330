// SPDX-License-Identifier: Apache-2.0
#pragma once

/// System calls that can be had to fail. Linking FaultyCalls.cpp puts them in the place of the C
/// library's, for the whole test process.
struct FaultyCalls {
    /// What each call fails with: an errno value, or 0 where it is left alone.
    static void FailInotifyInit(int error);
    static void FailInotifyAddWatch(int error);
    /// For SIGUSR2 alone.
    static void FailSigaction(int error);
};

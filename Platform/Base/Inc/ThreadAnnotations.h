// SPDX-License-Identifier: Apache-2.0
#pragma once

// Names for clang's thread-safety attributes. Under clang with -Wthread-safety a field that is
// touched without its lock is a compile error; under every other compiler they are nothing.

#if defined(__clang__)
#define HEARTHD_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define HEARTHD_THREAD_ATTRIBUTE(x)
#endif

#ifndef CAPABILITY
#define CAPABILITY(x) HEARTHD_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY HEARTHD_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) HEARTHD_THREAD_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) HEARTHD_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define REQUIRES(...) HEARTHD_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) HEARTHD_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) HEARTHD_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) HEARTHD_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) HEARTHD_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS HEARTHD_THREAD_ATTRIBUTE(no_thread_safety_analysis)
#endif

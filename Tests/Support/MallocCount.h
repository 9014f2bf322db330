// SPDX-License-Identifier: Apache-2.0
#pragma once

/// How often the calling thread has allocated memory of the C library so far, by malloc or calloc,
/// whoever in the process asked for it. Linking MallocCount.cpp counts; a sanitizer's build, which
/// has an allocator of its own, doesn't.
long MallocCount();

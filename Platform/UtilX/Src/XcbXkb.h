// SPDX-License-Identifier: Apache-2.0
#pragma once

// xcb/xkb.h for C++: it has fields called "explicit".

#include <xcb/xcb.h> // whose own headers must not see the macro

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_field
#include <xcb/xkb.h>
#undef explicit
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

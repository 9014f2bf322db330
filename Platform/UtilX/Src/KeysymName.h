// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <X11/X.h>

namespace utilx {

/// The keysym of that name; NoSymbol where there is none. Any thread: Xlib reads its file of names
/// when it first looks for one, and has no lock around that.
KeySym KeysymOf(const char* name);

} // namespace utilx

// SPDX-License-Identifier: Apache-2.0
#include "KeysymName.h"

#include <X11/Xlib.h>

#include "Mutex.h"

namespace utilx {

KeySym KeysymOf(const char* name) {
    static marrow::base::Mutex mutex;
    const marrow::base::MutexLock lock(mutex);
    return XStringToKeysym(name);
}

} // namespace utilx

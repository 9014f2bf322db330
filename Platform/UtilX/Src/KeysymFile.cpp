// SPDX-License-Identifier: Apache-2.0

// Names Xlib the file of this library's keysyms.

#include <cstdlib>
#include <dlfcn.h>
#include <exception>
#include <filesystem>

#include "UtilXLog.h"

namespace {

namespace fs = std::filesystem;

// The library lies in lib, the file beside that in etc. Empty where it isn't installed so.
fs::path InstalledFile() {
    static const char anchor = 0; // lies in this library
    Dl_info library{};
    if (dladdr(&anchor, &library) == 0 || library.dli_fname == nullptr) {
        return {};
    }
    std::error_code error;
    const fs::path self = fs::canonical(library.dli_fname, error);
    const fs::path file = self.parent_path().parent_path() / "etc" / "XKeysymDB";
    return !error && fs::is_regular_file(file, error) ? file : fs::path();
}

// When the library is loaded, because a program that is linked to it has one thread then: setenv
// must not meet a getenv on another one. Xlib reads the variable when it first looks for a name.
__attribute__((constructor)) void NameTheFile() {
    try {
        if (std::getenv("XKEYSYMDB") != nullptr) {
            return;
        }
        if (const fs::path file = InstalledFile(); !file.empty()) {
            setenv("XKEYSYMDB", file.c_str(), 1);
        }
    } catch (const std::exception& exception) {
        UTILX_LOGW("the file of key names isn't looked for: %s", exception.what());
    }
}

} // namespace

// SPDX-License-Identifier: Apache-2.0

// What a program without the key grabs sees of key names.
//
//     utilx-key-names names < NAMES    a line "NAME KEYSYM NAME" for each: the keysym in
//     hexadecimal
//                                      digits, and its name as Xlib tells it ("-" for none)
//     utilx-key-names keysyms < HEX    a line "KEYSYM NAME" for each
//     utilx-key-names load LIBRARY     what XKEYSYMDB is when the library has been loaded

#include <X11/Xlib.h>
#include <cstdlib>
#include <dlfcn.h>
#include <iostream>
#include <string>
#include <string_view>

namespace {

const char* NameOf(KeySym key) {
    const char* name = key == NoSymbol ? nullptr : XKeysymToString(key);
    return name == nullptr ? "-" : name;
}

} // namespace

int main(int count, char** words) {
    const std::string_view command = count > 1 ? words[1] : "";
    if (command == "names") {
        for (std::string name; std::cin >> name;) {
            const KeySym key = XStringToKeysym(name.c_str());
            std::cout << name << ' ' << std::hex << key << ' ' << NameOf(key) << '\n';
        }
    } else if (command == "keysyms") {
        for (KeySym key = 0; std::cin >> std::hex >> key;) {
            std::cout << std::hex << key << ' ' << NameOf(key) << '\n';
        }
    } else if (command == "load" && count == 3) {
        if (dlopen(words[2], RTLD_NOW) == nullptr) {
            std::cerr << dlerror() << '\n';
            return 1;
        }
        const char* file = std::getenv("XKEYSYMDB");
        std::cout << (file == nullptr ? "unset" : file) << '\n';
    } else {
        return 2;
    }
    return 0;
}

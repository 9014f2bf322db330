// SPDX-License-Identifier: Apache-2.0

// A program that grabs keys.
//
//     utilx-key-client hold KEY      grabs the key and says what came of it; with a line of input
//                                    it ends
//     utilx-key-client leave KEY     grabs it and returns from main
//     utilx-key-client destroy KEY   the same, and an object lets the key go at exit

#include <X11/Xlib.h>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>

#include "UtilX.h"

namespace {

class Grabber {
public:
    Grabber(Display* display, std::string key) : m_display(display), m_key(std::move(key)) {
        Say("grab", utilx_grab_key(m_display, DefaultRootWindow(m_display), m_key.c_str(),
                                   UTILX_EXCLUSIVE_GRAB));
    }
    ~Grabber() {
        Say("ungrab", utilx_ungrab_key(m_display, DefaultRootWindow(m_display), m_key.c_str()));
    }

private:
    static void Say(const char* what, int result) {
        std::printf("%s %d\n", what, result);
        std::fflush(stdout);
    }

    Display* const m_display;
    const std::string m_key;
};

} // namespace

int main(int count, char** words) {
    static Display* const display = XOpenDisplay(nullptr); // stays open, as in most programs
    if (count != 3 || display == nullptr) {
        return 2;
    }
    const std::string_view command = words[1];
    if (command == "destroy") {
        static const Grabber grabber(display, words[2]);
        return 0;
    }
    const int result =
        utilx_grab_key(display, DefaultRootWindow(display), words[2], UTILX_EXCLUSIVE_GRAB);
    std::printf("grab %d\n", result);
    std::fflush(stdout);
    if (command == "hold") {
        std::string line;
        std::getline(std::cin, line);
    }
    return 0;
}

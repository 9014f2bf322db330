// SPDX-License-Identifier: Apache-2.0

// What the daemon is measured beside: it opens the libraries that it is given, which make their
// services and workers as they do in the daemon, says "open PID", and waits to be killed.

#include <cstdio>
#include <dlfcn.h>
#include <unistd.h>

int main(int count, char** files) {
    for (int i = 1; i < count; ++i) {
        if (dlopen(files[i], RTLD_NOW) == nullptr) {
            std::fprintf(stderr, "bench-open: %s\n", dlerror());
            return 1;
        }
    }
    std::printf("open %d\n", getpid());
    std::fflush(stdout);
    pause();
}

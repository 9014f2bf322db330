// SPDX-License-Identifier: Apache-2.0

// A library that leaves a file behind when it runs.

#include <cstdio>
#include <cstdlib>

void* g_service = nullptr;
void* g_service_proxy = nullptr;

namespace {

[[gnu::constructor]] void Leave() {
    if (const char* path = std::getenv("CONSTRUCTOR_FILE")) {
        std::fclose(std::fopen(path, "w"));
    }
}

} // namespace

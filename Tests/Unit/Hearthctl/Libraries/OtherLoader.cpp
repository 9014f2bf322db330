// SPDX-License-Identifier: Apache-2.0
// A file that names a program which is to load it, as a program does.

[[gnu::section(".interp"), gnu::used]] const char LOADER[] = "/bin/echo"; // NOLINT: an array

void* g_service = nullptr;
void* g_service_proxy = nullptr;

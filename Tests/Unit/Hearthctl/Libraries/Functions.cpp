// SPDX-License-Identifier: Apache-2.0

// Functions in place of the two variables.

extern "C" void g_service() {}
extern "C" void g_service_proxy() {}

// SPDX-License-Identifier: Apache-2.0

// The two variables, and nothing else.

void* g_service = nullptr;
void* g_service_proxy = nullptr;

// SPDX-License-Identifier: Apache-2.0

// A library without the variable g_service_proxy.

void* g_service = nullptr;

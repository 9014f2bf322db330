// SPDX-License-Identifier: Apache-2.0

// A library whose proxy could not be made.

#include "ProbedService.h"

marrow::ser::IService* g_service = new ProbedService("null_proxy");
marrow::ser::IServiceProxy* g_service_proxy = nullptr;

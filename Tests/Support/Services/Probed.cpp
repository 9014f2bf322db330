// SPDX-License-Identifier: Apache-2.0

// A service as it should be.

#include "ProbedService.h"

marrow::ser::IService* g_service = new ProbedService;
marrow::ser::IServiceProxy* g_service_proxy = new ProbedProxy;

// SPDX-License-Identifier: Apache-2.0

// A library without the variable g_service.

#include "ProbedService.h"

marrow::ser::IServiceProxy* g_service_proxy = new ProbedProxy("missing_service");
marrow::ser::IService* g_another_name = new ProbedService("missing_service");

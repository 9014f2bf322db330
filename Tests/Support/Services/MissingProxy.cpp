// SPDX-License-Identifier: Apache-2.0

// A library without the variable g_service_proxy.

#include "ProbedService.h"

marrow::ser::IService* g_service = new ProbedService("missing_proxy");
marrow::ser::IServiceProxy* g_another_name = new ProbedProxy("missing_proxy");

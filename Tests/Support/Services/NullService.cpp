// SPDX-License-Identifier: Apache-2.0

// A library whose service could not be made.

#include "ProbedService.h"

marrow::ser::IService* g_service = nullptr;
marrow::ser::IServiceProxy* g_service_proxy = new ProbedProxy("null_service");

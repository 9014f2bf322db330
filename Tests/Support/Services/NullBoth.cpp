// SPDX-License-Identifier: Apache-2.0

// A library neither of whose objects could be made.

#include "ProbedService.h"

marrow::ser::IService* g_service = nullptr;
marrow::ser::IServiceProxy* g_service_proxy = nullptr;
